#pragma once
// Forms whose style sheet paints the whole dialog white keep a light palette for what the style
// draws on that white by itself: check boxes and their marks, the progress bar's groove, scroll
// bars. Under a dark desktop theme those would otherwise come out dark on white, and a ticked box
// could not be told from an empty one.

class QWidget;

void keepLightPalette(QWidget& form);
