#pragma once

#include <QIcon>

namespace lumivale::app {

// The program's icon, for the window and the tray: a tablet with a lit page, drawn at
// the sizes trays and title bars ask for.
QIcon appIcon();

}  // namespace lumivale::app
