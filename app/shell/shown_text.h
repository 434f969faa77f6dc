#pragma once

#include <string>

#include <QString>

namespace lumivale::app {

// The core's texts are UTF-8; this is how every pane shows one.
inline QString qText(const std::string& text) {
  return QString::fromStdString(text);
}

}  // namespace lumivale::app
