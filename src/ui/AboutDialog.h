#pragma once
// The About box: the program's mark, its name and version, and links to the web site and the
// support page, which open in the user's browser.

#include <QDialog>

namespace Ui {
class AboutDialog;
}

class AboutDialog : public QDialog {
    Q_OBJECT

public:
    explicit AboutDialog(QWidget* parent = nullptr);
    ~AboutDialog() override;

private slots:
    void on_closeButton_clicked();

private:
    Ui::AboutDialog* ui;
};
