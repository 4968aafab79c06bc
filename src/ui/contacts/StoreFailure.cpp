#include "ui/contacts/StoreFailure.h"

#include <QCoreApplication>
#include <QMessageBox>

#include "engine/AppConstants.h"
#include "platform/ErrorText.h"
#include "platform/LastError.h"
#include "ui/Dialogs.h"

void showStoreFailure(QWidget* parent, EngineStatus status)
{
    const std::uint32_t code = status.code() != 0 ? status.code() : platform::lastError();
    QString text = QString::fromStdU16String(platform::errorText(code));
    if (text.isEmpty())
        text = QCoreApplication::translate("ContactActionMan", "The contacts file could not be written.");
    QMessageBox box(
        QMessageBox::Warning, QString::fromUtf16(AppName.data(), AppName.size()), text, QMessageBox::Ok, parent);
    Dialogs::exec(box);
}
