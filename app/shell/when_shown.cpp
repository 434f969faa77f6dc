#include "app/shell/when_shown.h"

#include <QEvent>

namespace lumivale::app {
namespace {

class ShowWatch : public QObject {
 public:
  ShowWatch(QWidget* widget, std::function<void()> shown)
      : QObject(widget), shown_(std::move(shown)) {}

  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Show) shown_();
    return false;
  }

 private:
  std::function<void()> shown_;
};

}  // namespace

void whenShown(QWidget* widget, std::function<void()> shown) {
  widget->installEventFilter(new ShowWatch(widget, std::move(shown)));
}

}  // namespace lumivale::app
