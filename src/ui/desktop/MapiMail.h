#pragma once
// Hands one message to the user's own mail program, which shows it for the user to look over and
// send; the program never sends mail itself. On this desktop the hand-off is xdg-email, which
// opens the user's mail program with a new message made from a mailto: address.
//
// A MapiMail is built on the stack for one message and dropped after it:
//
//     MapiMail mail(0, winId());
//     if (!mail.load())
//         return;                        // no xdg-email: silently nothing
//     mail.setSubject(subject.toStdString());
//     mail.setBody(" ");
//     mail.addRecipient({ name.toStdString(), address.toStdString() });
//     mail.addAttachment({ QDir::toNativeSeparators(path).toStdString(), fileName.toStdString() });
//     mail.send();                       // result may be ignored
//
// All texts are UTF-8 (QString::toStdString).

#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <functional>
#include <string>
#include <utility>
#include <vector>

class MapiMail {
public:
    // Results of send(), as the mail interface numbers them.
    static constexpr quint32 Success = 0;
    static constexpr quint32 Failure = 2;

    // A recipient is (name, address); an attachment is (full path, file name shown in the mail).
    using Pair = std::pair<std::string, std::string>;

    MapiMail(quint32 session, quintptr window);

    // True once the mail program can be reached: xdg-email was found on PATH. Looked up again by
    // every new object, so a PATH changed while the program runs is honoured.
    bool load();

    void setSubject(const std::string& text);
    void setBody(const std::string& text);
    void addRecipient(const Pair& recipient);
    void addAttachment(const Pair& attachment);

    // Starts xdg-email with the message and returns at once; the user completes the message in
    // the mail program. Success if it was started, Failure if load() found nothing or the start
    // failed (nothing happens then). `failed` hears later why no mail program showed it, where
    // xdg-email ends in error (no mail program set up).
    quint32 send(std::function<void(const QString&)> failed = {});

    // The arguments send() hands to xdg-email, in order. Every text is one argument of its own, so
    // nothing in it is ever read by a shell:
    //   --utf8, then --subject and --body (each left out when empty, which xdg-email refuses),
    //   then --to for each recipient in list order, then --attach for each attachment's path.
    // A recipient goes as `Name <address>` (the name quoted where it holds characters special in
    // an address), as the bare address when the name is blank, and as the name alone when there
    // is no address, so the user sees in the mail program whom the message was meant for. A
    // mailto: address can't rename an attachment: the mail shows the file's own name.
    QStringList arguments() const;

private:
    std::string subject;
    std::string body;
    // Kept for the interface's sake; a mailto: address has no sender, the mail program uses the
    // user's own account.
    std::string senderName;
    std::string senderAddress;
    std::vector<Pair> recipients;
    std::vector<Pair> attachments;
    // The program that takes the message; empty until load().
    QString sendFunction;
    quint32 mapiSession;
    // The window the message belongs to. xdg-email opens the mail program's own window, which no
    // other window can own, so it is only kept.
    quintptr uiParameter;
};
