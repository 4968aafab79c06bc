#include "ui/contacts/StoreFailure.h"

#include <QCoreApplication>
#include <QMessageBox>

#include "engine/AppConstants.h"
#include "platform/ErrorText.h"
#include "platform/LastError.h"
#include "platform/StatusCodes.h"
#include "ui/Dialogs.h"

void showStoreFailure(QWidget* parent, EngineStatus status)
{
    // These codes only wrap what went wrong underneath (a full disk, a folder without write
    // access); the user learns more from the cause, which the store leaves in the last error.
    std::uint32_t code = status.code();
    const bool wrapped = code == 0 || code == win::ERROR_INVALID_PARAMETER || code == win::ERROR_CANNOT_MAKE;
    if (wrapped && platform::lastError() != 0)
        code = platform::lastError();
    QString text = QString::fromStdU16String(platform::errorText(code));
    if (text.isEmpty())
        text = QCoreApplication::translate("ContactActionMan", "The contacts file could not be written.");
    QMessageBox box(
        QMessageBox::Warning, QString::fromUtf16(AppName.data(), AppName.size()), text, QMessageBox::Ok, parent);
    Dialogs::exec(box);
}
