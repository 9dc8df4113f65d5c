#include "problem_bar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "cell_text.h"

namespace trace_window
{

ProblemBar::ProblemBar() : m_text(new QLabel), m_retry(new QPushButton(tr("Try again")))
{
    setFrameShape(QFrame::StyledPanel);
    m_text->setWordWrap(true);
    m_text->setTextFormat(Qt::PlainText); // names in it may look like HTML
    m_retry->setObjectName(QStringLiteral("retry"));
    connect(m_retry, &QPushButton::clicked, this, &ProblemBar::retryAsked);
    auto* const row = new QHBoxLayout(this);
    row->addWidget(m_text, 1);
    row->addWidget(m_retry);
    hide();
}

void ProblemBar::report(std::string_view problem, bool canRetry)
{
    m_text->setText(lineOf(problem));
    setVisible(!problem.empty());
    m_retry->setVisible(canRetry);
}

QString ProblemBar::problem() const
{
    return m_text->text();
}

} // namespace trace_window
