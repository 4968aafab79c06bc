#include "ui/contacts/ContactDetailsDlg.h"

#include "ui_ContactDetailsDlg.h"

ContactDetailsDlg::ContactDetailsDlg(QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::ContactDetailsDlg)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Tool | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowStaysOnTopHint);
    // The form fixes the modality; setWindowFlags may have reset it with the window.
    setWindowModality(Qt::ApplicationModal);
    connect(ui->ContactNameLE, &QLineEdit::textEdited, this, &ContactDetailsDlg::on_ContactLETextEdited);
    raise();
    activateWindow();
}

ContactDetailsDlg::~ContactDetailsDlg() { delete ui; }

void ContactDetailsDlg::setContactName(const QString& text) { ui->ContactNameLE->setText(text); }
void ContactDetailsDlg::setFirstName(const QString& text) { ui->FirstNameLE->setText(text); }
void ContactDetailsDlg::setLastName(const QString& text) { ui->LastNameLE->setText(text); }
void ContactDetailsDlg::setOrganization(const QString& text) { ui->OrganizationLE->setText(text); }
void ContactDetailsDlg::setEMail(const QString& text) { ui->EMailLE->setText(text); }
void ContactDetailsDlg::setComments(const QString& text) { ui->CommentsTE->setPlainText(text); }

void ContactDetailsDlg::setDetails(const ContactDetails& details)
{
    setContactName(details.name);
    setFirstName(details.firstName);
    setLastName(details.lastName);
    setOrganization(details.organization);
    setEMail(details.email);
    setComments(details.comments);
}

void ContactDetailsDlg::setOkEnabled(bool enabled) { ui->OKButton->setEnabled(enabled); }

void ContactDetailsDlg::setNameReadOnly(bool readOnly) { ui->ContactNameLE->setReadOnly(readOnly); }

void ContactDetailsDlg::setEditTracking(bool on)
{
    if (on == trackEdits)
        return;
    trackEdits = on;
    if (!on)
        return;
    connect(ui->FirstNameLE, &QLineEdit::textEdited, this, &ContactDetailsDlg::on_FirstNameLEEdited);
    connect(ui->LastNameLE, &QLineEdit::textEdited, this, &ContactDetailsDlg::on_LastNameLEEdited);
    connect(ui->OrganizationLE, &QLineEdit::textEdited, this, &ContactDetailsDlg::on_OrganizationLEEdited);
    connect(ui->EMailLE, &QLineEdit::textEdited, this, &ContactDetailsDlg::on_EMailLEEdited);
    connect(ui->CommentsTE, &QTextEdit::textChanged, this, &ContactDetailsDlg::on_CommentsTEEdited);
}

ContactDetails ContactDetailsDlg::details() const
{
    return ContactDetails { ui->ContactNameLE->text(), ui->FirstNameLE->text(), ui->LastNameLE->text(),
        ui->OrganizationLE->text(), ui->EMailLE->text(), ui->CommentsTE->toPlainText() };
}

void ContactDetailsDlg::showEvent(QShowEvent* event)
{
    // What the caller filled in before exec() is what an edit is measured against.
    initialValues = details();
    QDialog::showEvent(event);
}

// Escape and the close button end the dialog as Cancel does, so every way out but OK reads the
// same to the caller.
void ContactDetailsDlg::reject() { done(Cancelled); }

void ContactDetailsDlg::on_OKButton_clicked() { done(Ok); }

void ContactDetailsDlg::on_CancelButton_clicked() { done(Cancelled); }

void ContactDetailsDlg::on_ContactLETextEdited(const QString& text) { ui->OKButton->setEnabled(!text.isEmpty()); }

void ContactDetailsDlg::track(std::uint32_t bit, bool differs)
{
    if (!trackEdits)
        return;
    if (differs)
        changed |= bit;
    else
        changed &= ~bit;
    ui->OKButton->setEnabled(changed != 0);
}

void ContactDetailsDlg::on_FirstNameLEEdited(const QString& text)
{
    track(FirstNameChanged, text != initialValues.firstName);
}

void ContactDetailsDlg::on_LastNameLEEdited(const QString& text)
{
    track(LastNameChanged, text != initialValues.lastName);
}

void ContactDetailsDlg::on_OrganizationLEEdited(const QString& text)
{
    track(OrganizationChanged, text != initialValues.organization);
}

void ContactDetailsDlg::on_EMailLEEdited(const QString& text) { track(EMailChanged, text != initialValues.email); }

void ContactDetailsDlg::on_CommentsTEEdited()
{
    track(CommentsChanged, ui->CommentsTE->toPlainText() != initialValues.comments);
}
