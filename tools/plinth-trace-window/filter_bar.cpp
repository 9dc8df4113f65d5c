#include "filter_bar.h"

#include <algorithm>
#include <climits>

#include <QHBoxLayout>
#include <QLineEdit>
#include <QRegularExpression>
#include <QScopedValueRollback>

#include "cell_text.h"
#include "colours.h"
#include "pattern_field.h"

namespace trace_window
{

namespace
{

constexpr int wide = 3;   // parts of the bar for an expression,
constexpr int narrow = 2; // and for ids

constexpr const char* process_divider = ";;"; // names may have blanks and commas

QStringList words(const QLineEdit& field)
{
    static const QRegularExpression between(QStringLiteral("[\\s,;]+"));
    return field.text().split(between, Qt::SkipEmptyParts);
}

// Returns the valid expressions. The others are put into invalid, with the reason in problem.
std::vector<std::string> good(const std::vector<std::string>& texts,
                              std::vector<std::string>& invalid, QString& problem)
{
    invalid.clear();
    std::vector<std::string> out;
    for (const std::string& text : texts)
        try
        {
            static_cast<void>(trace::Pattern(text));
            out.push_back(text);
        }
        catch (const trace::BadPattern& bad)
        {
            invalid.push_back(text);
            problem = lineOf("\"" + text + "\" is no regular expression: " + bad.what());
        }
    return out;
}

template <class Text> void append(std::vector<Text>& texts, const std::vector<Text>& more)
{
    texts.insert(texts.end(), more.begin(), more.end());
}

} // namespace

FilterBar::FilterBar(QWidget* parent)
    : QWidget(parent), m_include(new PatternField(tr("Include"), {})),
      m_exclude(new PatternField(tr("Exclude"), {})),
      m_highlight(new PatternField(tr("Highlight"), {})), m_processes(new QLineEdit),
      m_windows(new QLineEdit)
{
    m_processes->setPlaceholderText(tr("Processes"));
    m_processes->setToolTip(tr("Ids or names of processes, several divided by ;; and with a ! "
                               "before it, one that is not shown"));
    m_windows->setPlaceholderText(tr("Window ids"));
    m_windows->setToolTip(tr("Window ids, several divided by blanks"));
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 2);
    for (PatternField* const field : {m_include, m_exclude, m_highlight})
    {
        layout->addWidget(field, wide);
        field->setAccessibleName(field->placeholderText());
    }
    for (QLineEdit* const field : {m_processes, m_windows})
    {
        field->setClearButtonEnabled(true);
        field->setMaxLength(INT_MAX); // a view may have thousands of window ids
        field->setAccessibleName(field->placeholderText());
        layout->addWidget(field, narrow);
    }
    const auto changed = [this]
    {
        if (!m_showing)
            emit filterChanged();
    };
    const auto forget = [this](PatternField* field, auto& invalid)
    {
        connect(field, &PatternField::patternsChanged, this,
                [this, &invalid]
                {
                    if (!m_showing)
                        invalid.clear();
                });
    };
    forget(m_include, m_invalid.include);
    forget(m_exclude, m_invalid.exclude);
    forget(m_highlight, m_invalid.highlights);
    connect(m_include, &PatternField::patternsChanged, this, changed);
    connect(m_exclude, &PatternField::patternsChanged, this, changed);
    connect(m_processes, &QLineEdit::textChanged, this, changed);
    connect(m_windows, &QLineEdit::textChanged, this, changed);
    connect(m_highlight, &PatternField::patternsChanged, this,
            [this]
            {
                if (!m_showing)
                    emit highlightsChanged();
            });
}

std::vector<trace::HighlightSetting> FilterBar::highlights() const
{
    std::vector<trace::HighlightSetting> out;
    for (const std::string& text : m_highlight->texts())
    {
        const auto known = std::find_if(m_colours.begin(), m_colours.end(),
                                        [&](const auto& each) { return each.expression == text; });
        out.push_back(
            {text, known != m_colours.end() ? known->colour : highlightColour(out.size())});
    }
    return out;
}

void FilterBar::writeTo(trace::ViewSettings& settings) const
{
    settings.match = m_match;
    settings.include = m_include->texts();
    settings.exclude = m_exclude->texts();
    settings.highlights = highlights();
    settings.processes.clear();
    settings.excluded_processes.clear();
    settings.windows = {};
    for (const QString& part :
         m_processes->text().split(QLatin1String(process_divider), Qt::SkipEmptyParts))
        if (const QString who = part.trimmed(); who.startsWith(u'!'))
            settings.excluded_processes.push_back(who.mid(1).toStdString());
        else if (!who.isEmpty())
            settings.processes.push_back(who.toStdString());
    for (const QString& word : words(*m_windows))
    {
        bool isNumber = false;
        const int id = word.toInt(&isNumber);
        if (isNumber)
            settings.windows.insert(id);
    }
}

void FilterBar::addInvalid(trace::ViewSettings& settings) const
{
    append(settings.match, m_invalid.match);
    append(settings.include, m_invalid.include);
    append(settings.exclude, m_invalid.exclude);
    append(settings.highlights, m_invalid.highlights);
}

QString FilterBar::setSettings(const trace::ViewSettings& settings)
{
    const QScopedValueRollback<bool> showing(m_showing, true);
    QString problem;
    m_match = good(settings.match, m_invalid.match, problem);
    m_include->setTexts(good(settings.include, m_invalid.include, problem));
    m_exclude->setTexts(good(settings.exclude, m_invalid.exclude, problem));
    m_colours = settings.highlights;
    std::vector<std::string> highlighted;
    for (const trace::HighlightSetting& each : settings.highlights)
        highlighted.push_back(each.expression);
    std::vector<std::string> invalid;
    m_highlight->setTexts(good(highlighted, invalid, problem));
    m_invalid.highlights.clear();
    for (const trace::HighlightSetting& each : settings.highlights)
        if (std::find(invalid.begin(), invalid.end(), each.expression) != invalid.end())
            m_invalid.highlights.push_back(each);
    QStringList processes;
    for (const std::string& who : settings.processes)
        processes += QString::fromStdString(who);
    for (const std::string& who : settings.excluded_processes)
        processes += u'!' + QString::fromStdString(who);
    m_processes->setText(processes.join(QLatin1String(process_divider)));
    QStringList windows;
    for (const int32_t id : settings.windows)
        windows += QString::number(id);
    m_windows->setText(windows.join(u' '));
    return problem;
}

} // namespace trace_window
