// Publishing a movie to the video service of the tests, against curl sending the same file there, in one run:
// bench_upload SERVER FOLDER, where SERVER is publishing-server and FOLDER is on a disk. Memory is that of this program
// with nothing but the upload in it: it starts itself once for each file.
#include "bench/Measuring.h"
#include "bench/Report.h"
#include "platform/Dispatch/dispatch.h"
#include "plugins/PublishToYouTube/upload/Publisher.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaObject>
#include <QtCore/QProcess>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int rounds = 7;
constexpr const char* token = "measured";
constexpr const char* client = "measured";

/// This process' largest memory so far, in megabytes.
double largestMemory() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == "VmHWM:" && status >> word) return std::stod(word) / 1024;
  return 0;
}

/// Publishes the file and prints the seconds from the call to the video's address, and the memory.
int publish(const std::string& base, const std::string& folder, const std::string& file) {
  NSErrorPtr error;
  const auto addresses = publishing::ServiceAddresses::loopback(base, &error);
  if (!addresses) fail(error->localizedDescription());
  publishing::PublisherOptions options;
  options.clientFile = folder + "/publishing.json";
  options.stateFolder = folder;
  options.secretService = false;
  publishing::Publisher::Events events;
  const double begin = now();
  events.published = [&](const std::string&) {
    std::printf("%.6f %.3f\n", now() - begin, largestMemory());
    QCoreApplication::exit(0);
  };
  events.failed = [](const NSErrorPtr& failure) { fail(failure->localizedDescription()); };
  publishing::VideoDetails details;
  details.title = "Measured";
  const auto publisher = publishing::Publisher::create(*addresses, events, options);
  publisher->publish(file, details);
  return QCoreApplication::exec();
}

void makeFile(const std::string& path, int megabytes) {
  std::mt19937_64 random(1);
  std::vector<std::uint64_t> piece(1024 * 1024 / sizeof(std::uint64_t));
  for (std::uint64_t& number : piece) number = random();
  std::ofstream file(path, std::ios::binary);
  for (int i = 0; i < megabytes; ++i) file.write(reinterpret_cast<const char*>(piece.data()), 1024 * 1024);
  if (!file) fail("can't write " + path);
}

std::string run(const QString& program, const QStringList& arguments) {
  QProcess process;
  process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process.start(program, arguments);
  if (!process.waitForFinished(600'000) || process.exitCode() != 0) fail(program.toStdString() + " failed");
  return process.readAllStandardOutput().toStdString();
}

/// Both ways to send a file to one server.
class Comparison {
 public:
  Comparison(const std::string& server, std::string folder) : folder_(std::move(folder)) {
    server_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    server_.start(QString::fromStdString(server), {"--token", token, "--no-hash"});
    if (!server_.waitForReadyRead() || !server_.canReadLine()) fail("the server does not start");
    base_ = "http://127.0.0.1:" + server_.readLine().trimmed().mid(5).toStdString();
    std::ofstream(folder_ + "/publishing.json") << "{\"client_id\": \"" << client << "\"}";
    std::ofstream(folder_ + "/publishing-tokens.json") << "{\"" << client << " " << publishing::originOf(base_)
                                                       << "\": \"{\\\"access_token\\\": \\\"" << token << "\\\"}\"}";
  }
  ~Comparison() {
    server_.closeWriteChannel();
    server_.waitForFinished(5000);
  }
  Comparison(const Comparison&) = delete;
  Comparison& operator=(const Comparison&) = delete;

  struct Ours {
    double seconds = 0, memory = 0;
  };
  Ours ours(const std::string& file) const {
    const std::string printed = run(
        QCoreApplication::applicationFilePath(),
        {"--publish", QString::fromStdString(base_), QString::fromStdString(folder_), QString::fromStdString(file)});
    Ours result;
    if (std::sscanf(printed.c_str(), "%lf %lf", &result.seconds, &result.memory) != 2) fail("no figures");
    return result;
  }
  /// The same two requests, the session's start and the file; the seconds that curl itself counts.
  double curl(const std::string& file) const {
    const QString authorization = QStringLiteral("Authorization: Bearer %1").arg(token);
    const std::string size = std::to_string(fs::file_size(file));
    const auto request = [&](const QStringList& arguments) {
      return run("curl",
                 QStringList{"-s", "-S", "--fail", "--noproxy", "*", "-H", authorization, "-H", "Expect:"} + arguments);
    };
    const std::string started =
        request({"-H", QStringLiteral("X-Upload-Content-Length: %1").arg(size.c_str()), "-H",
                 "X-Upload-Content-Type: video/mp4", "-d", R"({"snippet": {"title": "Measured"}})", "-w",
                 "%{time_total} %header{location}",
                 QString::fromStdString(base_ + "/upload/videos?uploadType=resumable&part=snippet,status")});
    const std::string location = started.substr(started.find(' ') + 1);
    const std::string sent = request({"-T", QString::fromStdString(file), "-o", "/dev/null", "-w", "%{time_total}",
                                      QString::fromStdString(location)});
    return std::stod(started) + std::stod(sent);
  }

 private:
  std::string folder_, base_;
  QProcess server_;
};

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication application(argc, argv);
  if (argc == 5 && std::string(argv[1]) == "--publish") {
    dispatch_main::attachToCurrentThread([] {
      QMetaObject::invokeMethod(
          qApp, [] { dispatch_main::drain(); }, Qt::QueuedConnection);
    });
    return publish(argv[2], argv[3], argv[4]);
  }
  if (argc != 3) {
    std::fprintf(stderr, "usage: bench_upload SERVER FOLDER\n");
    return 2;
  }
  const std::string folder = fs::absolute(argv[2]).string() + "/.bench_upload";
  fs::remove_all(folder);
  fs::create_directories(folder);
  Report report("curl");
  {
    const Comparison comparison(argv[1], folder);
    const std::string small = folder + "/small.mp4", middle = folder + "/middle.mp4", large = folder + "/large.mp4";
    makeFile(small, 50);
    makeFile(middle, 500);
    std::vector<double> ours, curl;
    for (int round = 0; round <= rounds; ++round) {  // the first one, which brings the file into memory, doesn't count
      const double theirs = comparison.curl(middle), seconds = comparison.ours(middle).seconds;
      if (round == 0) continue;
      curl.push_back(theirs * 1000);
      ours.push_back(seconds * 1000);
    }
    report.ratio("uploading 500 MB to this machine, beside curl", "ms", median(ours), median(curl), 0.8, true);
    fs::remove(middle);
    const double little = comparison.ours(small).memory;
    makeFile(large, 1024);
    report.figure("largest memory while uploading 50 MB", "MB", little, {}, {});
    report.figure("  more of it while uploading 1 GB", "MB", comparison.ours(large).memory - little, {}, 3);
  }
  fs::remove_all(folder);
  return report.finish();
}
