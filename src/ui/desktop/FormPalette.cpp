#include "ui/desktop/FormPalette.h"

#include <QStyle>
#include <QWidget>

void keepLightPalette(QWidget& form)
{
    // The style's own palette is the light one it was drawn for, whatever the desktop chose.
    const QPalette light = form.style()->standardPalette();
    form.setPalette(light);
    // Children that a style sheet rule names get a palette of their own, made from the
    // application's; they are told too.
    for (QWidget* child : form.findChildren<QWidget*>())
        child->setPalette(light);
}
