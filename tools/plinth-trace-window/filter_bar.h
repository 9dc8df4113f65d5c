// The fields of one view, in which the user sets what it shows: include, exclude, highlight,
// processes, window ids.
//
// A process is an id or a name; "!" before it excludes that process. Several processes are
// separated by ";;", since a name may have blanks; window ids by blanks or commas.
#pragma once

#include <optional>

#include <QWidget>

#include "view_settings.h"

QT_BEGIN_NAMESPACE
class QLineEdit;
QT_END_NAMESPACE

namespace trace_window
{

class PatternField;

class FilterBar : public QWidget
{
    Q_OBJECT

public:
    explicit FilterBar(QWidget* parent = nullptr);

    PatternField* include() const { return m_include; }
    PatternField* exclude() const { return m_exclude; }
    PatternField* highlight() const { return m_highlight; }
    QLineEdit* processes() const { return m_processes; }
    QLineEdit* windows() const { return m_windows; }

    // Copies filter and highlights between settings and fields. What the fields don't show, such as
    // the colours of highlights and --match, stays as `setSettings` received it. A text that is no
    // valid expression is left out, and `setSettings` returns the reason.
    void writeTo(trace::ViewSettings& settings) const;
    QString setSettings(const trace::ViewSettings& settings);
    // What was left out, so that a file of settings keeps it until the user changes its field.
    void addInvalid(trace::ViewSettings& settings) const;

signals:
    void filterChanged();
    void highlightsChanged();

private:
    // Expressions of the settings that can't be shown, because they are invalid.
    struct Invalid
    {
        std::vector<std::string> match;
        std::vector<std::string> include;
        std::vector<std::string> exclude;
        std::vector<trace::HighlightSetting> highlights;
    };

    std::vector<trace::HighlightSetting> highlights() const;

    PatternField* const m_include;
    PatternField* const m_exclude;
    PatternField* const m_highlight;
    QLineEdit* const m_processes;
    QLineEdit* const m_windows;
    std::vector<std::string> m_match;
    mutable std::vector<trace::HighlightSetting> m_colours; // of expressions, as received
    Invalid m_invalid;
    bool m_showing = false;
};

} // namespace trace_window
