#pragma once

#include <QWidget>

namespace lumivale::app {

// For the start-up benchmark: with LUMIVALE_MARK_FIRST_PAINT set (never in customer
// builds), prints "first paint" on standard output once `window` has been drawn.
void markFirstPaint(QWidget& window);

}  // namespace lumivale::app
