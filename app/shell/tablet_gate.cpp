#include "app/shell/tablet_gate.h"

namespace lumivale::app {

TabletGate::TabletGate(TabletTracker& tracker, QWidget* content, QWidget* parent)
    : QStackedWidget(parent), tracker_(tracker), refusal_(new QLabel(this)), content_(content) {
  refusal_->setObjectName("tabletRefusal");
  refusal_->setWordWrap(true);
  refusal_->setAlignment(Qt::AlignCenter);
  refusal_->setAccessibleName(tr("Tablet state"));
  addWidget(refusal_);
  addWidget(content_);
  connect(&tracker_, &TabletTracker::changed, this, &TabletGate::follow);
  follow();
}

QString TabletGate::refusal() const {
  return currentWidget() == refusal_ ? refusal_->text() : QString();
}

void TabletGate::follow() {
  const TabletView& view = tracker_.view();
  if (view.ready()) {
    setCurrentWidget(content_);
    return;
  }
  refusal_->setText(QString::fromStdString(view.refusal.value_or("")));
  setCurrentWidget(refusal_);
}

}  // namespace lumivale::app
