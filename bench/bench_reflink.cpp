// Saving a part of a recording where the file system shares blocks: what is moved costs nothing there, so a long part
// takes hardly longer than a short one. bench_reflink ZEVANTI FOLDER, with minute.mp4 and hour.mp4 in FOLDER.
#include "bench/Measuring.h"
#include "bench/Report.h"
#include "tests/foundation/SharingVolume.h"

#include <cstdio>
#include <functional>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int kRounds = 7;

/// The median of some runs from a settled disk, in milliseconds. What `work` makes goes afterwards.
double milliseconds(const std::string& output, const std::function<void()>& work) {
  std::vector<double> values;
  for (int round = 0; round < kRounds; ++round) {
    sync();
    const double begin = now();
    work();
    values.push_back((now() - begin) * 1000);
    if (round + 1 < kRounds) fs::remove(output);
  }
  return median(values);
}

struct Result {
  double trim = 0, share = 0, copy = 0;  // milliseconds
  double size = 0;                       // megabytes
};

Result measure(const std::string& zevanti, const std::string& movie, const std::string& from, const std::string& to) {
  const std::string trimmed = movie + ".trimmed.mp4", copied = movie + ".copied.mp4";
  Result result;
  result.trim = milliseconds(trimmed, [&] {
    runToEnd({zevanti, "trim", movie, "--from", from, "--to", to, "-o", trimmed});
  });
  result.size = double(fs::file_size(trimmed)) / 1e6;
  for (const auto& [mode, time] : {std::pair("always", &result.share), std::pair("never", &result.copy)}) {
    *time = milliseconds(copied, [&, how = std::string("--reflink=") + mode] {
      runToEnd({"cp", how, trimmed, copied});
      syncFile(copied);
    });
    fs::remove(copied);
  }
  fs::remove(trimmed);
  return result;
}

void print(Report& report, const char* what, const Result& result) {
  std::printf("%s, %.0f MB; zevanti is the whole process, beside cp (process) and fsync\n", what, result.size);
  report.figure("zevanti trim, beside cp that shares blocks", "ms", result.trim, result.share, {});
  report.ratio("zevanti trim, beside cp that copies", "ms", result.trim, result.copy, 1.25);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: bench_reflink ZEVANTI FOLDER\n");
    return 2;
  }
  const std::string zevanti = fs::absolute(argv[1]).string(), data = fs::absolute(argv[2]).string();
  const std::string folder = data + "/.bench_reflink";
  fs::remove_all(folder);
  fs::create_directory(folder);
  std::string reason;
  int status = 0;
  if (const auto volume = SharingVolume::create(folder, std::uint64_t(16) << 30, reason)) {
    for (const char* name : {"minute.mp4", "hour.mp4"}) {
      fs::copy_file(data + "/" + name, volume->path() + "/" + name);
      syncFile(volume->path() + "/" + name);
    }
    Report report("theirs");
    const Result minute = measure(zevanti, volume->path() + "/minute.mp4", "7.3", "52.3");
    const Result hour = measure(zevanti, volume->path() + "/hour.mp4", "300.3", "3300.3");
    print(report, "45 s of minute.mp4", minute);
    print(report, "3000 s of hour.mp4", hour);
    report.ratio("3000 s, beside 45 s", "ms", hour.trim, minute.trim, 3);
    status = report.finish();
  } else {
    std::printf("Left out: %s.\n", reason.c_str());
  }
  fs::remove_all(folder);
  return status;
}
