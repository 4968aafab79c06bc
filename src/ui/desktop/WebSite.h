#pragma once
// The product's web site: the update check, the feedback page and the About box's links. It is a
// build option (HALVOREN_WEB_SITE), empty unless a build sets it: a distribution's package gets its
// updates from the package manager, and a placeholder address that can never load helps nobody.
// Where it is empty, those menu entries are hidden and the About box shows no links.

#include <QString>
#include <optional>

QString webSite();

namespace WebSiteTesting {
// Pretends the build set this site (an empty one: none); unset, the build's own holds.
void setAddress(std::optional<QString> address);
} // namespace WebSiteTesting
