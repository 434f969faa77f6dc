#pragma once

#include <functional>

#include <QWidget>

namespace lumivale::app {

// Calls `shown` each time `widget` is shown (a pane chosen in the sidebar, for one), for
// as long as the widget lives.
void whenShown(QWidget* widget, std::function<void()> shown);

}  // namespace lumivale::app
