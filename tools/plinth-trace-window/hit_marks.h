// The strip beside a scroll bar that shows where the hits of a search are in the whole table.
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
    // How many hits are in each of `parts` equal parts of the table, from top to bottom.
    using Count = std::function<std::vector<size_t>(size_t parts)>;

    explicit HitMarks(Count count, QWidget* parent = nullptr);

    // The heights that have a mark, in pixels from the top.
    std::vector<int> marked() const;

    QSize sizeHint() const override;

signals:
    void clicked(double part); // place in the table, from 0 to 1

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    Count m_count;
};

} // namespace trace_window
