// Work handed to a worker: results and failures come back on the main thread, in
// order, and work cancelled by the owner's going reports nothing.
#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include "app/shell/background_work.h"
#include "core/cancelled.h"
#include "core/error.h"

namespace lumivale::app {

class BackgroundWorkTest : public QObject {
  Q_OBJECT

 private slots:
  void resultsAndFailuresComeBackOnTheMainThreadInOrder() {
    QObject receiver;
    BackgroundWork work(&receiver);
    QStringList heard;
    std::atomic<bool> ranOffMain{true};
    QThread* main = QThread::currentThread();
    for (int i = 0; i < 3; ++i)
      work.run<int>(
          [&, i](const StopToken&) {
            if (QThread::currentThread() == main) ranOffMain = false;
            if (i == 1) throw Error("the second one failed");
            return i;
          },
          [&](int value) {
            QCOMPARE(QThread::currentThread(), main);
            heard << QString::number(value);
          },
          [&](const std::string& message) {
            QCOMPARE(QThread::currentThread(), main);
            heard << QString::fromStdString(message);
          });
    QTRY_COMPARE_WITH_TIMEOUT(heard.size(), 3, 60'000);
    QCOMPARE(heard, QStringList({"0", "the second one failed", "2"}));
    QVERIFY(ranOffMain);
  }

  void workCancelledByTheOwnersGoingReportsNothing() {
    bool reported = false;
    std::atomic<bool> started{false};
    QObject receiver;  // outlives the work, so anything reported would reach it
    {
      BackgroundWork work(&receiver);
      work.run(
          [&](const StopToken& stop) {
            started = true;
            // Waits for the cancel that the owner's going sends, as a blocked adb run would.
            while (!stop.isCancelled())
              std::this_thread::yield();
            stop.throwIfCancelled();
          },
          [&] { reported = true; }, [&](const std::string&) { reported = true; });
      QTRY_VERIFY_WITH_TIMEOUT(started, 60'000);
    }
    QCoreApplication::processEvents();
    QVERIFY(!reported);
  }
};

}  // namespace lumivale::app

QTEST_GUILESS_MAIN(lumivale::app::BackgroundWorkTest)
#include "background_work_test.moc"
