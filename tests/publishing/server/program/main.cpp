// publishing-server [OPTION...]: the video service of the tests as a program, on 127.0.0.1.
//
// Prints its port as "port N" on the first line, then a line for each thing that happens. Ends on end of its standard
// input when that is a pipe, or on a signal.
//
//   --folder FOLDER   keep received videos there: ID.mp4 and ID.json
//   --token TOKEN     an access token that is always good
//   --no-hash         don't hash what is received
//   --fault FAULT     see Fault.h; may be given again
#include "tests/publishing/server/LoopbackServer.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>
#include <QtCore/QStringList>

#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  publishing_test::LoopbackServer::Options options;
  std::vector<publishing_test::Fault> faults;
  const QStringList arguments = QCoreApplication::arguments();
  for (qsizetype i = 1; i < arguments.size(); ++i) {
    const QString option = arguments[i];
    if (option == "--no-hash") {
      options.hash = false;
      continue;
    }
    const QString value = i + 1 < arguments.size() ? arguments[++i] : QString();
    const auto fault = option == "--fault" ? publishing_test::Fault::parse(value.toStdString()) : std::nullopt;
    if (option == "--folder" && !value.isEmpty()) {
      options.folder = value;
    } else if (option == "--token" && !value.isEmpty()) {
      options.accessToken = value.toUtf8();
    } else if (fault) {
      faults.push_back(*fault);
    } else {
      std::fprintf(stderr, "publishing-server: can't read %s %s\n", qPrintable(option), qPrintable(value));
      return 2;
    }
  }
  publishing_test::LoopbackServer server(options);
  for (const auto& fault : faults) server.add(fault);
  if (!server.listen()) {
    std::fprintf(stderr, "publishing-server: can't listen\n");
    return 1;
  }
  const auto print = [](const QString& line) {
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
  };
  print(QStringLiteral("port %1").arg(server.port()));
  server.log = print;

  struct stat input {};
  std::unique_ptr<QSocketNotifier> notifier;
  if (fstat(STDIN_FILENO, &input) == 0 && (S_ISFIFO(input.st_mode) || S_ISSOCK(input.st_mode))) {
    notifier = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, &application, [] {
      char rest[256];
      if (read(STDIN_FILENO, rest, sizeof rest) <= 0) QCoreApplication::quit();
    });
  }
  return QCoreApplication::exec();
}
