#include "hit_marks.h"

#include <algorithm>

#include <QMouseEvent>
#include <QPainter>

#include "colours.h"

namespace trace_window
{

namespace
{

constexpr int wide = 10;       // pixels
constexpr int mark_height = 2; // a row of a long table has less than a pixel

} // namespace

HitMarks::HitMarks(Count count, QWidget* parent) : QWidget(parent), m_count(std::move(count))
{
    setFixedWidth(wide);
    setToolTip(tr("Where the hits of the search are"));
}

QSize HitMarks::sizeHint() const
{
    return {wide, 0};
}

std::vector<int> HitMarks::marked() const
{
    std::vector<int> places;
    const std::vector<size_t> counts = m_count(static_cast<size_t>(std::max(1, height())));
    for (size_t i = 0; i < counts.size(); ++i)
        if (counts[i] > 0)
            places.push_back(static_cast<int>(i));
    return places;
}

void HitMarks::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().window());
    for (const int place : marked())
        painter.fillRect(QRect(1, std::min(place, height() - mark_height), wide - 2, mark_height),
                         QColor(hit_ground));
}

void HitMarks::mousePressEvent(QMouseEvent* event)
{
    emit clicked(event->position().y() / std::max(1, height()));
}

} // namespace trace_window
