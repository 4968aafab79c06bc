#pragma once
// The four options of the program and the dialog that edits them. The dialog's handlers are the
// only code that knows how an option maps onto its settings key, so the window reads its options
// at start by building the dialog without showing it.

#include <QDialog>
#include <QList>

class ConfigStore;

namespace Ui {
class OptionsDialog;
}

struct ApplicationOptions {
    bool doNotMinimizeToTray = false;
    bool autoAddMyself = false;
    bool doNotNotify = false;
    bool startOnLogin = false;
};

class OptionsDialog;
using OptionHandler = void (*)(bool load, OptionsDialog& dialog, ApplicationOptions& options);

class OptionsDialog : public QDialog {
    Q_OBJECT

public:
    OptionsDialog(ConfigStore* config, ApplicationOptions* options, QWidget* parent = nullptr);
    ~OptionsDialog() override;

    void runHandlers(bool load);
    static void loadOptions(ConfigStore* config, ApplicationOptions* options, QWidget* parent);

    Ui::OptionsDialog* form() const { return ui; }
    ConfigStore* store() const { return config; }

private slots:
    void on_OK();

private:
    Ui::OptionsDialog* ui;
    ConfigStore* config;
    ApplicationOptions* options;
    QList<OptionHandler> handlers;
};
