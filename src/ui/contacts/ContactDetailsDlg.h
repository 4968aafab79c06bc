#pragma once
// The dialog for a contact's six text fields, used at first start, when importing a key file and
// when viewing or editing a contact. The caller sets it up and reads details() after OK; the
// dialog touches no store.

#include <QDialog>
#include <QString>
#include <cstdint>

namespace Ui {
class ContactDetailsDlg;
}

// The six fields in the dialog's order.
struct ContactDetails {
    QString name;
    QString firstName;
    QString lastName;
    QString organization;
    QString email;
    QString comments;
};

class ContactDetailsDlg : public QDialog {
    Q_OBJECT
public:
    // Bits of changedFields().
    enum ChangedField : std::uint32_t {
        FirstNameChanged = 2,
        LastNameChanged = 4,
        OrganizationChanged = 8,
        EMailChanged = 16,
        CommentsChanged = 32,
    };
    // The value of done() for OK and for Cancel; callers test for Ok.
    enum Result { Ok = 1, Cancelled = 2 };

    explicit ContactDetailsDlg(QWidget* parent = nullptr);
    ~ContactDetailsDlg() override;

    void setContactName(const QString& text);
    void setFirstName(const QString& text);
    void setLastName(const QString& text);
    void setOrganization(const QString& text);
    void setEMail(const QString& text);
    void setComments(const QString& text);
    // Fills all six fields.
    void setDetails(const ContactDetails& details);

    void setOkEnabled(bool enabled);
    void setNameReadOnly(bool readOnly);
    // On: OK is offered only while a detail field differs from what was shown.
    void setEditTracking(bool on);

    ContactDetails details() const;
    std::uint32_t changedFields() const { return changed; }

protected:
    void showEvent(QShowEvent* event) override;

public slots:
    void reject() override;

private slots:
    void on_OKButton_clicked();
    void on_CancelButton_clicked();
    void on_ContactLETextEdited(const QString& text);
    void on_FirstNameLEEdited(const QString& text);
    void on_LastNameLEEdited(const QString& text);
    void on_OrganizationLEEdited(const QString& text);
    void on_EMailLEEdited(const QString& text);
    void on_CommentsTEEdited();

private:
    void track(std::uint32_t bit, bool differs);

    Ui::ContactDetailsDlg* ui;
    bool trackEdits = false;
    ContactDetails initialValues;
    std::uint32_t changed = 0;
};
