// A message box for another thread blocks only that thread, and the owner's window on the screen. A
// box for the thread of the widgets blocks the application's windows, as its own boxes do.
#include "message_dialog.h"

#include <future>
#include <memory>
#include <utility>

#include <QList>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>

#include "gui_thread.h"
#include "mirror.h"
#include "user32/message_buttons.h"

namespace desktop_qt
{

namespace
{

QString label(int answer)
{
    switch (answer)
    {
    case IDOK:
        return QMessageBox::tr("&OK");
    case IDCANCEL:
        return QMessageBox::tr("&Cancel");
    case IDABORT:
        return QMessageBox::tr("&Abort");
    case IDRETRY:
        return QMessageBox::tr("&Retry");
    case IDIGNORE:
        return QMessageBox::tr("&Ignore");
    case IDYES:
        return QMessageBox::tr("&Yes");
    default:
        return QMessageBox::tr("&No");
    }
}

QMessageBox::Icon icon(UINT type)
{
    switch (type & MB_ICONMASK)
    {
    case MB_ICONHAND:
        return QMessageBox::Critical;
    case MB_ICONQUESTION:
        return QMessageBox::Question;
    case MB_ICONEXCLAMATION:
        return QMessageBox::Warning;
    case MB_ICONASTERISK:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

// All buttons have the same role, so they stay in the order in which they are added, and Qt chooses
// none of them for Escape. A box without a button for Escape can only be closed by its buttons.
void addButtons(QMessageBox& box, UINT type)
{
    const platform::MessageButtons buttons = platform::message_buttons(type);
    for (size_t i = 0; i < buttons.count; ++i)
    {
        const int answer = buttons.first[i].id;
        QPushButton* const button = box.addButton(label(answer), QMessageBox::ActionRole);
        button->setProperty("answer", answer);
        if (i == platform::default_message_button(type))
            box.setDefaultButton(button);
        if (answer == platform::escape_answer(type))
            box.setEscapeButton(button);
    }
    box.setProperty("escape", platform::escape_answer(type));
}

// The boxes that other threads wait for. They are also destroyed with their owners.
QList<QPointer<QMessageBox>>& openBoxes()
{
    static auto& only = *new QList<QPointer<QMessageBox>>; // never destroyed, as its thread can end
    return only;                                           // at any time
}

std::unique_ptr<QMessageBox> makeBox(const Question& question)
{
    QWidget* const owner = mirror().widget(question.owner);
    auto box = std::make_unique<QMessageBox>(owner ? owner->window() : nullptr);
    box->setWindowTitle(question.caption);
    box->setTextFormat(Qt::PlainText);
    box->setText(question.text);
    box->setTextInteractionFlags(Qt::TextSelectableByMouse);
    box->setIcon(icon(question.type));
    box->setAttribute(Qt::WA_QuitOnClose, false);
    if (question.type & MB_TOPMOST)
        box->setWindowFlag(Qt::WindowStaysOnTopHint);
    addButtons(*box, question.type);
    return box;
}

// A box that is closed has no clicked button.
int answerOf(const QMessageBox& box)
{
    const QAbstractButton* const button = box.clickedButton();
    return (button ? button->property("answer") : box.property("escape")).toInt();
}

int askHere(const Question& question)
{
    // The box is destroyed with its owner, and with the application.
    const QPointer<QMessageBox> box = makeBox(question).release();
    box->exec();
    const int answer = box ? answerOf(*box) : 0;
    delete box.data();
    return answer;
}

void showBox(const Question& question, const std::shared_ptr<std::promise<int>>& reply)
{
    QMessageBox* const box = makeBox(question).release();
    box->setWindowModality(box->parentWidget() ? Qt::WindowModal : Qt::NonModal);
    QObject::connect(box, &QMessageBox::finished, box,
                     [box, reply]
                     {
                         reply->set_value(answerOf(*box));
                         openBoxes().removeAll(box);
                         box->deleteLater();
                     });
    openBoxes().removeAll(QPointer<QMessageBox>()); // were destroyed with their owners
    openBoxes().append(box);
    box->show();
    if (question.type & MB_SETFOREGROUND)
    {
        box->raise();
        box->activateWindow();
    }
}

} // namespace

int askUser(const Question& question)
{
    if (isGuiThread())
        return askHere(question);
    auto reply = std::make_shared<std::promise<int>>();
    std::future<int> answer = reply->get_future();
    // Only the box holds the reply: if the box is destroyed, the wait ends.
    if (!postToGui([question, kept = std::move(reply)] { showBox(question, kept); }))
        return 0;
    try
    {
        return answer.get();
    }
    catch (const std::future_error&)
    {
        return 0;
    }
}

void closeMessageBoxes()
{
    for (const QPointer<QMessageBox>& box : std::exchange(openBoxes(), {}))
        delete box.data();
}

} // namespace desktop_qt
