#include "timeline_strip.h"

#include <algorithm>

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include "colours.h"

namespace trace_window
{

namespace
{

constexpr size_t most_seconds = 600;
constexpr int high = 46;     // pixels
constexpr int most_wide = 8; // pixels of a bar
constexpr int margin = 3;    // pixels at the top and at the sides

} // namespace

TimelineStrip::TimelineStrip(const trace::View& view, QWidget* parent)
    : QWidget(parent), m_timeline(view, most_seconds)
{
    setFixedHeight(high);
    setCursor(Qt::PointingHandCursor);
    setAccessibleName(tr("Records per second"));
}

QSize TimelineStrip::sizeHint() const
{
    return {0, high};
}

void TimelineStrip::setHighlights(trace::Highlights highlights, std::vector<uint32_t> colours)
{
    m_timeline.set_highlights(std::move(highlights));
    m_colours = std::move(colours);
    update();
}

void TimelineStrip::advance(std::chrono::steady_clock::duration longest)
{
    m_timeline.advance_for(longest);
    update();
}

// As wide as the room allows for all seconds. If there are more seconds than pixels, the last ones
// are shown.
int TimelineStrip::barWidth() const
{
    const int seconds = std::max(1, static_cast<int>(m_timeline.seconds().size()));
    return std::clamp((width() - 2 * margin) / seconds, 1, most_wide);
}

const trace::Timeline::Second* TimelineStrip::secondAt(int x) const
{
    const auto& seconds = m_timeline.seconds();
    const int back = (width() - margin - 1 - x) / barWidth(); // seconds from the newest one
    const auto count = static_cast<int>(seconds.size());
    if (x >= width() - margin || back < 0 || back >= count)
        return nullptr;
    return &seconds[static_cast<size_t>(count - 1 - back)];
}

trace::Time TimelineStrip::timeAt(int x) const
{
    const auto count = static_cast<int>(m_timeline.seconds().size());
    if (count == 0)
        return trace::unknown_time;
    const int back = std::clamp((width() - margin - 1 - x) / barWidth(), 0, count - 1);
    return m_timeline.start() + (count - 1 - back) * trace::second;
}

void TimelineStrip::paintSecond(QPainter& painter, int x, const trace::Timeline::Second& second,
                                uint32_t most) const
{
    const int room = height() - margin - 1;
    const int bar = std::max(1, barWidth() - 1);
    const auto tall = [&](uint32_t count)
    {
        return static_cast<int>(
            (static_cast<uint64_t>(count) * static_cast<uint64_t>(room) + most - 1) / most);
    };
    uint32_t below = 0;
    const auto draw = [&](uint32_t count, const QColor& colour)
    {
        const int bottom = height() - 1 - tall(below);
        below += count;
        const int top = height() - 1 - tall(below);
        painter.fillRect(x, top, bar, bottom - top, colour);
    };
    for (size_t i = 0; i < second.by_colour.size() && i < m_colours.size(); ++i)
    {
        const QColor light = ground(m_colours[i], palette());
        draw(second.by_colour[i], isDark(palette()) ? light.lighter(170) : light.darker(125));
    }
    draw(second.all - below, QColor(Qt::gray)); // visible on dark and light
    if (second.lost > 0)
        painter.fillRect(x, 0, bar, margin, lossText(palette()));
}

void TimelineStrip::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().base());
    const auto& seconds = m_timeline.seconds();
    uint32_t most = 1;
    for (const auto& second : seconds)
        most = std::max(most, second.all);
    int x = width() - margin - barWidth();
    for (auto second = seconds.rbegin(); second != seconds.rend() && x >= margin;
         ++second, x -= barWidth())
        paintSecond(painter, x, *second, most);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(0, height() - 1, width(), height() - 1);
    const QString scale = tr("%L1/s").arg(most); // of the highest bar
    QRect label = fontMetrics().boundingRect(scale).adjusted(-margin, 0, margin, 0);
    label.moveTopLeft({margin, 0});
    painter.fillRect(label, palette().base());
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(label, Qt::AlignCenter, scale);
}

void TimelineStrip::mousePressEvent(QMouseEvent* event)
{
    if (const auto record = m_timeline.record_at(timeAt(static_cast<int>(event->position().x()))))
        emit recordClicked(*record);
}

bool TimelineStrip::event(QEvent* event)
{
    if (event->type() != QEvent::ToolTip)
        return QWidget::event(event);
    const auto& help = *static_cast<QHelpEvent*>(event);
    if (const auto* const second = secondAt(help.x()))
        QToolTip::showText(help.globalPos(),
                           tr("%1: %L2 records")
                               .arg(QString::fromStdString(trace::local_text(timeAt(help.x()))))
                               .arg(second->all),
                           this);
    else
        QToolTip::hideText();
    return true;
}

} // namespace trace_window
