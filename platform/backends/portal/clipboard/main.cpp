// zevanti-clipboard: takes what it reads from its standard input to the clipboard, says so on its standard output, and
// offers it until something else is copied. It belongs to no terminal and holds nothing of who has started it.

#include "platform/backends/portal/clipboard/ClipboardContent.h"

#include <fcntl.h>
#include <unistd.h>
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <csignal>
#include <cstdio>

int main(int argc, char* argv[]) {
  setsid();
  std::signal(SIGHUP, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  close_range(STDERR_FILENO + 1, ~0U, 0);
  if (chdir("/") != 0) return 1;

  QFile input;
  if (!input.open(stdin, QIODevice::ReadOnly)) return 1;
  const ClipboardContent content = readClipboardContent(input.readAll());
  if (content.isEmpty()) return 1;

  QGuiApplication application(argc, argv);
  QClipboard* clipboard = QGuiApplication::clipboard();
  clipboard->setMimeData(makeMimeData(content));
  if (!clipboard->ownsClipboard()) return 1;
  QObject::connect(clipboard, &QClipboard::dataChanged, &application, [clipboard] {
    if (!clipboard->ownsClipboard()) QCoreApplication::quit();
  });
  std::puts("offered");
  std::fflush(stdout);
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int stream : {STDIN_FILENO, STDOUT_FILENO}) dup2(nowhere, stream);
  return QGuiApplication::exec();
}
