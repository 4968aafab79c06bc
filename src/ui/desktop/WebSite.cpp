#include "ui/desktop/WebSite.h"

#ifndef HALVOREN_WEB_SITE
#define HALVOREN_WEB_SITE ""
#endif

namespace {
std::optional<QString>& overridden()
{
    static std::optional<QString> address;
    return address;
}
} // namespace

QString webSite()
{
    QString site = overridden() ? *overridden() : QStringLiteral(HALVOREN_WEB_SITE);
    while (site.endsWith(u'/'))
        site.chop(1);
    return site;
}

namespace WebSiteTesting {
void setAddress(std::optional<QString> address) { overridden() = std::move(address); }
} // namespace WebSiteTesting
