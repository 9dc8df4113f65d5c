#include "find_bar.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>

namespace qt_table
{

FindBar::FindBar(QWidget* parent)
    : QWidget(parent), m_text(new QLineEdit(this)), m_case(new QToolButton(this)),
      m_result(new QLabel(this))
{
    const auto button = [this](const QString& text, const QString& hint, auto signal)
    {
        auto* const made = new QToolButton(this);
        made->setText(text);
        made->setToolTip(hint);
        made->setAutoRaise(true);
        connect(made, &QToolButton::clicked, this, signal);
        return made;
    };
    m_text->setPlaceholderText(tr("Find"));
    m_text->setAccessibleName(tr("Find"));
    m_text->setClearButtonEnabled(true);
    m_text->installEventFilter(this);
    m_case->setText(tr("Aa"));
    m_case->setToolTip(tr("Capitals count"));
    m_case->setCheckable(true);
    m_case->setAutoRaise(true);
    m_result->setMinimumWidth(fontMetrics().horizontalAdvance(tr("Passed the end")));

    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 2);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_case);
    layout->addWidget(button(tr("Previous"), tr("Shift+Enter"), &FindBar::previousAsked));
    layout->addWidget(button(tr("Next"), tr("Enter"), &FindBar::nextAsked));
    layout->addWidget(m_result);
    layout->addWidget(button(tr("Close"), tr("Escape"), &FindBar::close));

    connect(m_text, &QLineEdit::textChanged, this, &FindBar::textChanged);
    connect(m_case, &QToolButton::toggled, this, [this] { emit textChanged(m_text->text()); });
}

void FindBar::open()
{
    show();
    m_text->setFocus();
    m_text->selectAll();
}

void FindBar::close()
{
    hide();
    showResult(Result::none);
    emit closed();
}

QString FindBar::text() const
{
    return m_text->text();
}

void FindBar::setText(const QString& text)
{
    m_text->setText(text);
}

Qt::CaseSensitivity FindBar::caseSensitivity() const
{
    return m_case->isChecked() ? Qt::CaseSensitive : Qt::CaseInsensitive;
}

void FindBar::showResult(Result result)
{
    m_result->setText(result == Result::wrapped   ? tr("Passed the end")
                      : result == Result::nothing ? tr("Not found")
                                                  : QString());
}

// The line edit tells Enter without its modifiers.
bool FindBar::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto& key = *static_cast<QKeyEvent*>(event);
    switch (key.key())
    {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (key.modifiers() & Qt::ShiftModifier)
            emit previousAsked();
        else
            emit nextAsked();
        return true;
    case Qt::Key_Escape:
        close();
        return true;
    default:
        return QWidget::eventFilter(watched, event);
    }
}

} // namespace qt_table
