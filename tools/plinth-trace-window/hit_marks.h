// The strip beside a scroll bar that shows where in the whole table the hits of a search are.
#pragma once

#include <functional>
#include <vector>

#include <QWidget>

namespace trace_window
{

class HitMarks : public QWidget
{
    Q_OBJECT

public:
    // How many hits are in each of so many parts of the table, from top to bottom.
    using Count = std::function<std::vector<size_t>(size_t parts)>;

    explicit HitMarks(Count count, QWidget* parent = nullptr);

    // The heights, in pixels from the top, that have a mark.
    std::vector<int> marked() const;

    QSize sizeHint() const override;

signals:
    void clicked(double part); // of the table, from 0 to 1

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    Count m_count;
};

} // namespace trace_window
