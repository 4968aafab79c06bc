#include "ui/desktop/MapiMail.h"

#include "ui/desktop/Launch.h"

#include <QProcess>
#include <QStandardPaths>

namespace {
QString fromUtf8(const std::string& text) { return QString::fromStdString(text); }

// A display name as a mail address may carry it: as it is when it is plain words, else as a quoted
// string, so that a comma or an '@' in a name can't split or redirect the address.
QString displayName(QString name)
{
    static const QString specials = QStringLiteral("()<>[]:;@\\,.\"");
    bool plain = true;
    for (QChar& c : name) {
        // A line break would end the address line in the mail program.
        if (c.unicode() < 0x20)
            c = QLatin1Char(' ');
        plain = plain && !specials.contains(c);
    }
    if (plain)
        return name;
    QString quoted = name;
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('"'), QStringLiteral("\\\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString recipientText(const MapiMail::Pair& recipient)
{
    const QString name = fromUtf8(recipient.first).trimmed();
    const QString address = fromUtf8(recipient.second).trimmed();
    if (address.isEmpty())
        return name;
    if (name.isEmpty())
        return address;
    return displayName(name) + QStringLiteral(" <") + address + QLatin1Char('>');
}
} // namespace

MapiMail::MapiMail(quint32 session, quintptr window)
    : mapiSession(session)
    , uiParameter(window)
{
}

bool MapiMail::load()
{
    if (sendFunction.isEmpty())
        sendFunction = QStandardPaths::findExecutable(QStringLiteral("xdg-email"));
    return !sendFunction.isEmpty();
}

void MapiMail::setSubject(const std::string& text) { subject = text; }

void MapiMail::setBody(const std::string& text) { body = text; }

void MapiMail::addRecipient(const Pair& recipient) { recipients.push_back(recipient); }

void MapiMail::addAttachment(const Pair& attachment) { attachments.push_back(attachment); }

QStringList MapiMail::arguments() const
{
    QStringList args { QStringLiteral("--utf8") };
    if (!subject.empty())
        args << QStringLiteral("--subject") << fromUtf8(subject);
    if (!body.empty())
        args << QStringLiteral("--body") << fromUtf8(body);
    for (const Pair& recipient : recipients) {
        const QString text = recipientText(recipient);
        // A recipient with neither name nor address can't be written down at all; xdg-email
        // would refuse the whole message for it.
        if (!text.isEmpty())
            args << QStringLiteral("--to") << text;
    }
    for (const Pair& attachment : attachments) {
        if (!attachment.first.empty())
            args << QStringLiteral("--attach") << fromUtf8(attachment.first);
    }
    return args;
}

quint32 MapiMail::send(std::function<void(const QString&)> failed)
{
    if (sendFunction.isEmpty())
        return Failure;
    // The mail program lives on after this call, and the window never waits for it; how
    // xdg-email ends is still heard, since it ends in error where no mail program is set up.
    return launchWatched(sendFunction, arguments(), std::move(failed)) ? Success : Failure;
}
