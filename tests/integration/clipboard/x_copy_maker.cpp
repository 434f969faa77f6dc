// Another X client that copies as a password manager does: the text with extra formats
// (x_copy_maker TEXT FORMAT VALUE...). It says "copied" once it holds the clipboard and
// stays until another program copies.
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <cstdio>

int main(int argc, char** argv) {
  QGuiApplication application(argc, argv);
  if (argc < 2 || argc % 2 != 0) {
    std::fputs("usage: x_copy_maker TEXT [FORMAT VALUE]...\n", stderr);
    return 2;
  }
  auto* data = new QMimeData;
  data->setText(QString::fromUtf8(argv[1]));
  for (int next = 2; next + 1 < argc; next += 2)
    data->setData(QString::fromUtf8(argv[next]), QByteArray(argv[next + 1]));
  QClipboard* clipboard = QGuiApplication::clipboard();
  clipboard->setMimeData(data);
  if (!clipboard->ownsClipboard()) return 1;
  QObject::connect(clipboard, &QClipboard::dataChanged, &application, [clipboard] {
    if (!clipboard->ownsClipboard()) QCoreApplication::quit();
  });
  std::puts("copied");
  std::fflush(stdout);
  return application.exec();
}
