#include "ui/OptionsDialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>

#include "contacts/ConfigStore.h"
#include "ui/desktop/FormPalette.h"
#include "ui_OptionsDialog.h"

namespace {
// One option in both directions: load reads the key into the record and the box, store reads the
// box into the record and the key. Each store saves the whole file; the result isn't looked at,
// since a store that can't be written keeps the new values in memory for this run.
template <bool ApplicationOptions::*field, QCheckBox* Ui_OptionsDialog::*box, const std::u16string_view* key>
void handleOption(bool load, OptionsDialog& dialog, ApplicationOptions& options)
{
    QCheckBox* checkBox = dialog.form()->*box;
    ConfigStore* config = dialog.store();
    if (load) {
        options.*field = config && config->getBool(*key);
        checkBox->setChecked(options.*field);
    } else {
        options.*field = checkBox->isChecked();
        if (config)
            config->setBool(*key, options.*field);
    }
}
} // namespace

OptionsDialog::OptionsDialog(ConfigStore* config, ApplicationOptions* options, QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::OptionsDialog)
    , config(config)
    , options(options)
{
    ui->setupUi(this);
    keepLightPalette(*this);
    setWindowFlags(Qt::Dialog | Qt::WindowTitleHint);
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, &OptionsDialog::on_OK);
    handlers
        << &handleOption<&ApplicationOptions::doNotMinimizeToTray, &Ui_OptionsDialog::chkHideInTray,
               &ConfigKey::DoNotMinimizeToTray> << &handleOption<&ApplicationOptions::autoAddMyself, &Ui_OptionsDialog::chkEncryptForMyself, &ConfigKey::AutomaticallyAddToRecipients> << &handleOption<&ApplicationOptions::doNotNotify, &Ui_OptionsDialog::chkShowOnCompletion, &ConfigKey::DoNotCompletitionNotify> << &handleOption<&ApplicationOptions::startOnLogin, &Ui_OptionsDialog::chkStartAtLogin, &ConfigKey::StartOnLogin>;
    runHandlers(true);
}

OptionsDialog::~OptionsDialog() { delete ui; }

void OptionsDialog::runHandlers(bool load)
{
    for (OptionHandler handler : handlers)
        handler(load, *this, *options);
}

void OptionsDialog::loadOptions(ConfigStore* config, ApplicationOptions* options, QWidget* parent)
{
    OptionsDialog dialog(config, options, parent);
    dialog.runHandlers(true);
}

void OptionsDialog::on_OK() { runHandlers(false); }
