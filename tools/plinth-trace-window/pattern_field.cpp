#include "pattern_field.h"

#include <climits>
#include <utility>

#include <QStringList>
#include <QToolTip>

namespace trace_window
{

namespace
{

constexpr QLatin1String separator{trace::pattern_divider.data(),
                                  static_cast<qsizetype>(trace::pattern_divider.size())};

QString withoutSeparator(const std::string& text)
{
    return QString::fromStdString(trace::without_divider(text));
}

QString joined(const std::vector<std::string>& texts)
{
    QStringList list;
    for (const std::string& text : texts)
        list += withoutSeparator(text);
    return list.join(separator);
}

} // namespace

PatternField::PatternField(const QString& placeholder, const std::vector<std::string>& texts,
                           QWidget* parent)
    : QLineEdit(parent), m_placeholder(placeholder)
{
    setPlaceholderText(placeholder);
    setClearButtonEnabled(true);
    setMaxLength(INT_MAX); // settings must come out as they were put in
    for (const std::string& each : texts)
        m_patterns.emplace_back(each);
    setText(joined(texts));
    setCursorPosition(0); // a narrow field shows the beginning
    connect(this, &QLineEdit::textChanged, this, &PatternField::compile);
    setToolTip(tr("Regular expressions, several divided by ;;"));
}

std::vector<std::string> PatternField::texts() const
{
    std::vector<std::string> texts;
    for (const trace::Pattern& pattern : m_patterns)
        texts.push_back(pattern.text());
    return texts;
}

void PatternField::setTexts(const std::vector<std::string>& texts)
{
    setText(joined(texts));
    setCursorPosition(0); // a narrow field shows the beginning
}

void PatternField::add(const std::string& text)
{
    setText(this->text() + (this->text().isEmpty() ? QString() : separator) +
            withoutSeparator(text));
}

void PatternField::compile(const QString& text)
{
    std::vector<trace::Pattern> patterns;
    m_problem.clear();
    try
    {
        for (const QString& part : text.split(separator, Qt::SkipEmptyParts))
            patterns.emplace_back(part.toStdString());
    }
    catch (const trace::BadPattern& problem)
    {
        m_problem = QString::fromUtf8(problem.what());
    }
    const bool bad = !m_problem.isEmpty();
    setStyleSheet(bad ? QStringLiteral("QLineEdit { background: #ffc8c8; color: black; }")
                      : QString());
    setToolTip(bad ? m_problem : tr("Regular expressions, several divided by ;;"));
    if (bad)
    {
        QToolTip::showText(mapToGlobal(QPoint(0, height())), m_problem, this);
        return;
    }
    QToolTip::hideText();
    m_patterns = std::move(patterns);
    emit patternsChanged();
}

} // namespace trace_window
