#pragma once

#include <QCoreApplication>
#include <QString>

namespace lumivale::app {

// "1 leftover", "12 leftovers": whole phrases, so that each can be translated.
inline QString leftoverCount(int count) {
  return count == 1 ? QCoreApplication::translate("Files", "1 leftover")
                    : QCoreApplication::translate("Files", "%1 leftovers").arg(count);
}

}  // namespace lumivale::app
