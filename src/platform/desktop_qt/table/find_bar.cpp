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
      m_expression(new QToolButton(this)), m_count(new QLabel(this)), m_result(new QLabel(this))
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
    const auto makeSwitch = [this](QToolButton* made, const QString& text, const QString& hint)
    {
        made->setText(text);
        made->setToolTip(hint);
        made->setCheckable(true);
        made->setAutoRaise(true);
        connect(made, &QToolButton::toggled, this, [this] { emit textChanged(m_text->text()); });
    };
    makeSwitch(m_case, tr("Aa"), tr("Capitals count"));
    makeSwitch(m_expression, tr(".*"), tr("Regular expression"));
    m_expression->hide();
    m_count->hide();
    m_count->setTextFormat(Qt::PlainText);
    m_result->setMinimumWidth(fontMetrics().horizontalAdvance(tr("Passed the end")));

    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 2);
    layout->addWidget(m_text, 1);
    layout->addWidget(m_case);
    layout->addWidget(m_expression);
    layout->addWidget(m_count);
    layout->addWidget(button(tr("Previous"), tr("Shift+Enter"), &FindBar::previousAsked));
    layout->addWidget(button(tr("Next"), tr("Enter"), &FindBar::nextAsked));
    layout->addWidget(m_result);
    layout->addWidget(button(tr("Close"), tr("Escape"), &FindBar::close));

    connect(m_text, &QLineEdit::textChanged, this, &FindBar::textChanged);
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

void FindBar::offerExpressions()
{
    m_expression->show();
    m_count->show();
}

bool FindBar::isExpression() const
{
    return m_expression->isChecked();
}

void FindBar::showCount(const QString& count, const QString& problem)
{
    m_count->setText(problem.isEmpty() ? count : problem);
    QPalette colours;
    if (!problem.isEmpty())
        colours.setColor(QPalette::WindowText, QColor(Qt::red));
    m_count->setPalette(colours);
}

// The line edit reports Enter without its modifiers.
bool FindBar::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto& key = *static_cast<QKeyEvent*>(event);
    if (key.matches(QKeySequence::Copy) && !m_text->hasSelectedText())
    {
        emit copyAsked();
        return true;
    }
    switch (key.key())
    {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        m_text->deselect(); // so that Ctrl+C copies the row
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
