// The line below a table in which the user types what to find. It doesn't search by itself.
//
// Enter asks for the next place, Shift+Enter for the previous one, Escape closes the line. Ctrl+C
// copies what was found, unless a part of the typed text is selected.
#pragma once

#include <QWidget>

QT_BEGIN_NAMESPACE
class QLabel;
class QLineEdit;
class QToolButton;
QT_END_NAMESPACE

namespace qt_table
{

class FindBar : public QWidget
{
    Q_OBJECT

public:
    enum class Result
    {
        none, // nothing to report
        wrapped,
        nothing
    };

    explicit FindBar(QWidget* parent = nullptr);

    void open(); // shows it and selects its text, so that typing replaces it
    void close();
    QString text() const;
    void setText(const QString& text);
    Qt::CaseSensitivity caseSensitivity() const;
    void showResult(Result result);

    // For a table with more features: whether the text is an expression, how many places there are.
    void offerExpressions();
    bool isExpression() const;
    void showCount(const QString& count, const QString& problem = {});

signals:
    void textChanged(const QString& text); // also when only the way of searching changes
    void nextAsked();
    void previousAsked();
    void copyAsked();
    void closed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLineEdit* const m_text;
    QToolButton* const m_case;
    QToolButton* const m_expression;
    QLabel* const m_count;
    QLabel* const m_result;
};

} // namespace qt_table
