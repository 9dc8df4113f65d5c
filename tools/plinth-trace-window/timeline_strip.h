// The strip above a table: how many records there were in each of the last seconds, in the colours
// of the highlights. A click moves to the time under the mouse.
#pragma once

#include <QWidget>

#include "timeline.h"

namespace trace_window
{

class TimelineStrip : public QWidget
{
    Q_OBJECT

public:
    // The view outlives the strip.
    explicit TimelineStrip(const trace::View& view, QWidget* parent = nullptr);

    void setHighlights(trace::Highlights highlights, std::vector<uint32_t> colours);
    void advance(std::chrono::steady_clock::duration longest);
    const trace::Timeline& timeline() const { return m_timeline; }

    // The time at a place, in pixels from the left; unknown_time without records.
    trace::Time timeAt(int x) const;

    QSize sizeHint() const override;

signals:
    void recordClicked(quint64 number);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override; // tips

private:
    int barWidth() const;
    const trace::Timeline::Second* secondAt(int x) const;
    void paintSecond(QPainter& painter, int x, const trace::Timeline::Second& second,
                     uint32_t most) const;

    trace::Timeline m_timeline;
    std::vector<uint32_t> m_colours;
};

} // namespace trace_window
