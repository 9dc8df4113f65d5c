// The line below a table in which one types what to find. It searches nothing itself.
//
// Enter asks for the next place, Shift+Enter for the previous one, Escape closes it. Ctrl+C means
// what was found, unless a part of the typed text is selected.
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
        none, // to be told: it was found where it was to be expected
        wrapped,
        nothing
    };

    explicit FindBar(QWidget* parent = nullptr);

    void open(); // shows it, with its text selected for typing over
    void close();
    QString text() const;
    void setText(const QString& text);
    Qt::CaseSensitivity caseSensitivity() const;
    void showResult(Result result);

    // For a table that can do more: whether the text is an expression, how many places there are.
    void offerExpressions();
    bool isExpression() const;
    void showCount(const QString& count, const QString& problem = {});

signals:
    void textChanged(const QString& text); // also when it is to be taken in another way
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
