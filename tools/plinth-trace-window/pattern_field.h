// A field for regular expressions, several divided by ";;". While what stands in it is no
// expression it is red and says why, and the last good ones stay in force.
#pragma once

#include <QLineEdit>

#include "pattern.h"

namespace trace_window
{

class PatternField : public QLineEdit
{
    Q_OBJECT

public:
    // texts: expressions that are known to be good.
    PatternField(const QString& placeholder, const std::vector<std::string>& texts,
                 QWidget* parent = nullptr);

    const std::vector<trace::Pattern>& patterns() const { return m_patterns; }
    std::vector<std::string> texts() const; // of the patterns
    // Expressions that are known to be good.
    void setTexts(const std::vector<std::string>& texts);
    void add(const std::string& text);            // one more
    QString problem() const { return m_problem; } // empty if there is none

signals:
    void patternsChanged();

private:
    void compile(const QString& text);

    const QString m_placeholder;
    std::vector<trace::Pattern> m_patterns;
    QString m_problem;
};

} // namespace trace_window
