#pragma once

#include <QPushButton>
#include <QString>
#include <QWidget>

namespace lumivale::app {

// A button with the name a screen reader says for it (its text may be shorter).
inline QPushButton* namedButton(const QString& text, const QString& name, QWidget* parent) {
  auto* made = new QPushButton(text, parent);
  made->setAccessibleName(name);
  return made;
}

}  // namespace lumivale::app
