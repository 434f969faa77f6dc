#pragma once

#include <QAbstractButton>
#include <QString>
#include <QWidget>

namespace lumivale::testing {

// The button under `parent` that screen readers know as `accessibleName`, as a user of one
// finds it.
inline QAbstractButton* findButton(QWidget* parent, const QString& accessibleName) {
  for (auto* button : parent->findChildren<QAbstractButton*>())
    if (button->accessibleName() == accessibleName) return button;
  return nullptr;
}

}  // namespace lumivale::testing
