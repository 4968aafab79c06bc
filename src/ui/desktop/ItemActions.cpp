#include "ui/desktop/ItemActions.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDateTime>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLocale>
#include <QVBoxLayout>

namespace {

ItemActions::Hooks& hooks()
{
    static ItemActions::Hooks installed;
    return installed;
}

bool showPropertiesOverBus(const QStringList& uris)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"), QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("ShowItemProperties"));
    call << uris << QString();
    // A short wait, as for ShowItems: a file manager that hangs must not hold up the window.
    const QDBusMessage reply = bus.call(call, QDBus::Block, 3000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

QString permissionText(QFile::Permissions permissions)
{
    const struct {
        QFile::Permission flag;
        char letter;
    } bits[] = { { QFile::ReadOwner, 'r' }, { QFile::WriteOwner, 'w' }, { QFile::ExeOwner, 'x' },
        { QFile::ReadGroup, 'r' }, { QFile::WriteGroup, 'w' }, { QFile::ExeGroup, 'x' }, { QFile::ReadOther, 'r' },
        { QFile::WriteOther, 'w' }, { QFile::ExeOther, 'x' } };
    QString text;
    for (const auto& bit : bits)
        text += (permissions & bit.flag) ? QLatin1Char(bit.letter) : QLatin1Char('-');
    return text;
}

void showOwnPropertiesWindow(const QString& path, QWidget* parent)
{
    auto* dialog = new QDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(QCoreApplication::translate("ItemActions", "Properties"));
    auto* layout = new QVBoxLayout(dialog);
    auto* form = new QFormLayout;
    for (const auto& [label, value] : ItemActions::propertyLines(path)) {
        auto* field = new QLabel(value, dialog);
        field->setTextInteractionFlags(Qt::TextSelectableByMouse);
        field->setTextFormat(Qt::PlainText);
        form->addRow(label, field);
    }
    layout->addLayout(form);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    layout->addWidget(buttons);
    dialog->show();
}

} // namespace

void openItem(const QString& path)
{
    const QUrl url = QUrl::fromLocalFile(QDir::fromNativeSeparators(path));
    if (hooks().openUrl)
        hooks().openUrl(url);
    else
        QDesktopServices::openUrl(url);
}

void showItemProperties(const QString& path, QWidget* parent)
{
    const QString local = QDir::fromNativeSeparators(path);
    const QStringList uris { QUrl::fromLocalFile(local).toString(QUrl::FullyEncoded) };
    const bool shown = hooks().showProperties ? hooks().showProperties(uris) : showPropertiesOverBus(uris);
    if (shown)
        return;
    if (hooks().showOwnProperties)
        hooks().showOwnProperties(local, parent);
    else
        showOwnPropertiesWindow(local, parent);
}

namespace ItemActions {
void setHooks(Hooks replacement) { hooks() = std::move(replacement); }

QList<QPair<QString, QString>> propertyLines(const QString& path)
{
    const QFileInfo info(path);
    QList<QPair<QString, QString>> lines;
    lines << qMakePair(
        QCoreApplication::translate("ItemActions", "Name:"), info.fileName().isEmpty() ? path : info.fileName());
    lines << qMakePair(
        QCoreApplication::translate("ItemActions", "Folder:"), QDir::toNativeSeparators(info.absolutePath()));
    if (!info.exists()) {
        lines << qMakePair(QCoreApplication::translate("ItemActions", "Kind:"),
            QCoreApplication::translate("ItemActions", "Not found"));
        return lines;
    }
    const QLocale locale;
    if (info.isDir())
        lines << qMakePair(
            QCoreApplication::translate("ItemActions", "Kind:"), QCoreApplication::translate("ItemActions", "Folder"));
    else
        lines << qMakePair(QCoreApplication::translate("ItemActions", "Size:"),
            QCoreApplication::translate("ItemActions", "%1 (%2 bytes)")
                .arg(locale.formattedDataSize(info.size()), locale.toString(info.size())));
    lines << qMakePair(QCoreApplication::translate("ItemActions", "Modified:"),
        locale.toString(info.lastModified(), QLocale::LongFormat));
    lines << qMakePair(QCoreApplication::translate("ItemActions", "Permissions:"), permissionText(info.permissions()));
    return lines;
}
} // namespace ItemActions
