// A field for regular expressions, several separated by ";;". While its text is no valid expression
// the field is red and shows the reason, and the last valid expressions stay in force.
#pragma once

#include <QLineEdit>

#include "pattern.h"

namespace trace_window
{

class PatternField : public QLineEdit
{
    Q_OBJECT

public:
    // texts: expressions that are known to be valid.
    PatternField(const QString& placeholder, const std::vector<std::string>& texts,
                 QWidget* parent = nullptr);

    const std::vector<trace::Pattern>& patterns() const { return m_patterns; }
    std::vector<std::string> texts() const; // of the patterns
    // texts: expressions that are known to be valid.
    void setTexts(const std::vector<std::string>& texts);
    void add(const std::string& text);            // adds one
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
