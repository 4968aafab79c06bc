#include "ui/AboutDialog.h"

#include <string>

#include "engine/AppConstants.h"
#include "ui/desktop/FormPalette.h"
#include "ui/desktop/WebSite.h"
#include "ui_AboutDialog.h"

namespace {
QString qs(std::u16string_view text) { return QString::fromStdU16String(std::u16string(text)); }

// The label's text is built here rather than in the form, so that name, version and web site come
// from the one place that holds them.
QString aboutText()
{
    const QString site = webSite();
    const QString link = QStringLiteral("<a href=\"%1\" style=\"text-decoration: underline; color:#0000ff;\">%2</a>");
    const QString paragraph = QStringLiteral("<p style=\"margin-top:0px; margin-bottom:8px;\">%1</p>");
    QString html = QStringLiteral("<html><body>");
    html += QStringLiteral("<p style=\"margin-top:0px; margin-bottom:8px; font-size:10pt; font-weight:600;\">%1 %2 "
                           "Beta</p>")
                .arg(qs(AppName), qs(AppVersion));
    html += paragraph.arg(AboutDialog::tr("Secure Files Sending for Multiple Recipients."));
    if (!site.isEmpty()) {
        html += paragraph.arg(AboutDialog::tr("Visit home page - ") + link.arg(site, site));
        html += paragraph.arg(AboutDialog::tr("Support - ")
            + link.arg(site + QStringLiteral("/files/support.html"), site + QStringLiteral("/Support")));
    }
    html += QStringLiteral("</body></html>");
    return html;
}
} // namespace

AboutDialog::AboutDialog(QWidget* parent)
    : QDialog(parent)
    , ui(new Ui::AboutDialog)
{
    ui->setupUi(this);
    keepLightPalette(*this);
    setWindowFlags(Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint | Qt::WindowTitleHint);
    setFixedSize(412, 197);
    ui->label_2->setText(aboutText());
}

AboutDialog::~AboutDialog() { delete ui; }

void AboutDialog::on_closeButton_clicked() { accept(); }
