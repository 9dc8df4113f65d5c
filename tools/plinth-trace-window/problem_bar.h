// The line above the tables that shows why no record can come.
#pragma once

#include <string_view>

#include <QFrame>

QT_BEGIN_NAMESPACE
class QLabel;
class QPushButton;
QT_END_NAMESPACE

namespace trace_window
{

class ProblemBar : public QFrame
{
    Q_OBJECT

public:
    ProblemBar();

    // An empty problem hides the bar.
    void report(std::string_view problem, bool canRetry);
    QString problem() const;

signals:
    void retryAsked();

private:
    QLabel* const m_text;
    QPushButton* const m_retry;
};

} // namespace trace_window
