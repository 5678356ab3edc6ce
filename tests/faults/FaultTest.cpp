// Each open, write, sync and rename below the library, the temporary directory and what a person's desktop keeps fails
// once, and in other runs with all that follow, until the first try is over. Whoever is not told has what was asked
// for.

#include "Amount.h"
#include "FaultSession.h"
#include "WholeMovie.h"
#include "tests/end_to_end/Desktop.h"
#include "tests/end_to_end/VideoService.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

enum class Kind { Saving, Mailing, Copying, Publishing, Opening };

struct Scenario {
  const char* name;
  Kind kind;
  const char* recording;
  double length;  // seconds of what is made
  const char *before, *first, *second;
  bool anyOpen = false;  // whatever the editor opens, to read as well
};

constexpr const char* kTrim = "drag end 25\nwait editing\ndrag start 10\n";
constexpr const char* kTrimShort = "drag end 3\nwait editing\n";
constexpr const char* kSaveAgain = "answer OK\nwait ready\nkey Control+S\nwait saved 90\n";
/// Whatever there was to say; the movie need not have been shown again.
constexpr const char* kSaveAgainUnseen = "answer OK\nanswer OK\nanswer OK\nkey Control+S\nwait settled 90\n";
constexpr const char* kTrimAndSave = "drag end 3\nwait editing\ntap Done\nwait saved 90\nwait ready\n";
constexpr const char* kMail = "share\nactivity UIActivityTypeMail\n";
constexpr const char* kSaveACopy = "share\nactivity UIActivityTypeSaveToFiles\n";
constexpr const char* kPublish = "share\nactivity YouTube\nform Title Rain\nanswer Publish\n";
constexpr const char* kPublishAgain =
    "share\nactivity YouTube\nform Title Rain\ntap Publish\nwait alert 90\nalert Close\n";

constexpr Scenario scenarios[] = {
    {"open", Kind::Opening, "basic.mp4", 0, "", "", ""},
    {"open a copy", Kind::Opening, "basic.mp4", 0, "", "", ""},
    {"trim", Kind::Saving, "basic.mp4", 15, kTrim, "tap Done\n", kSaveAgain},
    {"trim a container", Kind::Saving, "basic.mkv", 3, kTrimShort, "tap Done\n", kSaveAgain},
    {"save", Kind::Saving, "basic.mp4", 60, "", "tap Save\n", kSaveAgain},
    {"mail", Kind::Mailing, "basic.mp4", 3, kTrimAndSave, kMail, kMail},
    {"save a copy", Kind::Copying, "basic.mp4", 3, kTrimAndSave, kSaveACopy, kSaveACopy},
    {"publish", Kind::Publishing, "two_audio.mp4", 20, "", kPublish, kPublishAgain},
    {"trim, any open", Kind::Saving, "basic.mp4", 15, kTrim, "tap Done\n", kSaveAgainUnseen, true},
    {"publish, any open", Kind::Publishing, "two_audio.mp4", 20, "", kPublish, kPublishAgain, true},
};

struct Way {
  int error;
  const char* name;
  bool once = false;
};
constexpr Way ways[] = {{ENOSPC, "ENOSPC"},
                        {EACCES, "EACCES"},
                        {EROFS, "EROFS"},
                        {EDQUOT, "EDQUOT"},
                        {EIO, "EIO"},
                        {ENOSPC, "ENOSPC once", true},
                        {EIO, "EIO once", true},
                        {EINTR, "EINTR once", true},
                        {0, "half once", true}};
constexpr Way waysToOpen[] = {{EMFILE, "EMFILE"},
                              {ENFILE, "ENFILE"},
                              {ENOMEM, "ENOMEM"},
                              {EMFILE, "EMFILE once", true},
                              {ENOMEM, "ENOMEM once", true}};

/// What a person does with a recording, with a fault in it.
class FaultyRun {
 public:
  FaultyRun(const Scenario& scenario, const Way& way, int number)
      : scenario_(scenario), way_(way), session_(scenario.recording) {
    if (scenario.kind != Kind::Saving && scenario.kind != Kind::Opening) desktop_.emplace(session_);
    if (scenario.kind == Kind::Copying) {
      fs::create_directory(session_.copies());
      desktop_->tell("save-path", (session_.copies() / "copy.m4v").string());
    }
    if (scenario.kind == Kind::Publishing) {
      desktop_->tell("browser", "");
      // Which makes it wait until the upload is kept for later as well.
      service_.emplace(session_, *desktop_, std::vector<std::string>{"chunk:retry-after=3"});
      fs::create_directories(tokens().parent_path());
      std::ofstream(tokens()) << R"({"another service": "precious"})";
    }
    std::vector<std::string> more;
    if (scenario.anyOpen) more.emplace_back("ZEVANTI_FAULT_READ=*");
    if (scenario.name == std::string("open a copy")) more.emplace_back("ZEVANTI_FAULT_LINKS=1");
    session_.injectFault({number, way.error, way.once}, more,
                         scenario.kind == Kind::Opening ? "zevanti" : "ZVVideoEditorExtension");
  }

  /// The first try, with the fault. What the person is told; empty when all went well.
  std::string attempt() {
    if (scenario_.kind == Kind::Opening) {
      session_.goOn();
      if (open() == 0) return "";
      const std::size_t at = session_.errors().find("zevanti: The ");
      EXPECT_NE(at, std::string::npos) << session_.errors();
      return session_.errors().substr(std::min(at, session_.errors().size()));
    }
    std::string first = scenario_.first;
    const fs::path over = session_.folder() / "over";
    if (scenario_.kind != Kind::Saving) first += "wait file " + over.string() + " 90\n";
    const bool publishes = scenario_.kind == Kind::Publishing;
    session_.start(scenario_.before, first, scenario_.second + sharedAgain(),
                   publishes ? "key Escape\n" : "answer OK\n");
    if (scenario_.kind == Kind::Mailing) fs::remove_all(session_.library());  // which makes it save once more
    session_.goOn();
    if (scenario_.kind != Kind::Saving) {
      constexpr double patience = 80;  // seconds
      EXPECT_TRUE(waitUntil(patience, [&] { return isOver() || session_.hasEnded(); })) << session_.errors();
      std::ofstream(over).flush();
    }
    session_.reachFailure();
    return publishes ? failure() : session_.message();
  }

  void expectNothingIsHalfThere(const std::string& told) {
    if (scenario_.kind == Kind::Opening) {
      // A folder that can't be opened any more is for the next start to remove.
      for (const fs::path& left : session_.leftovers()) EXPECT_TRUE(fs::is_directory(left)) << left;
      return;
    }
    const std::size_t made = expectAllWhole();
    if (told.empty() || !scenario_.anyOpen) {
      EXPECT_EQ(made, told.empty() ? 1U : 0U);
    }
    EXPECT_TRUE(told.empty() || session_.bytesWithoutName() == 0) << "the space is not given back";
    // What is kept for later is no condition of doing it now, and writing on where it was interrupted no failure.
    const auto calls = session_.injected();
    const bool isNeeded =
        way_.error != EINTR && way_.error != 0 && std::any_of(calls.begin(), calls.end(), [](const std::string& call) {
          return call.ends_with(" fails") && call.find("/desktop/state") == std::string::npos;
        });
    EXPECT_TRUE(isNeeded || told.empty()) << told << " " << fault();
    const bool isOnScreen = member(session_.state(), "alert") != "null" ||
                            session_.state().find(told.substr(0, told.find('/'))) != std::string::npos;
    EXPECT_TRUE(told.empty() || isOnScreen) << session_.state();
    madeFirst_ = made;
  }

  void expectSecondTryWorks() {
    fs::remove(session_.goOnFile());
    if (scenario_.kind == Kind::Opening) {
      EXPECT_EQ(open(), 0) << session_.errors();
    } else {
      session_.tryAgain();
      constexpr int kScriptGoesOn = 3;  // which is for an editor that stays
      // A recording that is saved whole ends the editor, also one that is because nothing could be trimmed.
      const bool isSavedWhole = scenario_.first == std::string("tap Save\n") && madeFirst_ != 0;
      const int status = session_.wait();
      EXPECT_TRUE(status == (isSavedWhole ? kScriptGoesOn : 0) || (scenario_.anyOpen && status == kScriptGoesOn))
          << status;
      EXPECT_GE(expectAllWhole(), scenario_.kind == Kind::Publishing ? madeFirst_ + 1 : 1);
    }
    session_.expectNothingLeft();
    session_.expectMovieUntouched();
    if (scenario_.kind != Kind::Publishing) return;
    for (const auto& entry : fs::recursive_directory_iterator(tokens().parent_path())) {
      // A lock that could not be removed, and that nobody holds, goes with an upload a minute later.
      const bool isLock = entry.path().extension() == ".lock" && fs::is_empty(entry.path());
      EXPECT_TRUE(entry.is_directory() || entry.path() == tokens() || isLock) << entry.path() << " is left";
    }
    EXPECT_NE(contentOf(tokens()).find(R"("another service": "precious")"), std::string::npos) << contentOf(tokens());
  }

  const FaultSession& session() const { return session_; }
  /// The first call that has failed.
  std::string fault() const {
    for (const std::string& line : session_.injected()) {
      if (line.ends_with(" fails") || line.ends_with(" is cut short")) return line;
    }
    return "none";
  }

 private:
  int open() { return session_.run(session_.movie(), "wait ready 60\ntap Cancel\nwait finished 10\n"); }

  fs::path tokens() const { return desktop_->home("state") / "zevanti/publishing-tokens.json"; }

  std::string sharedAgain() const { return scenario_.kind == Kind::Saving ? "" : "wait shared 60\n"; }

  std::vector<fs::path> made() const {
    if (scenario_.kind == Kind::Publishing) return service_->videos();
    if (scenario_.kind != Kind::Copying) return session_.saved();
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(session_.copies())) files.push_back(entry.path());
    return files;
  }

  /// How many there are.
  std::size_t expectAllWhole() const {
    const auto all = made();
    for (const fs::path& file : all) {
      // Where the trimmed copy can't be opened the recording is there again, and is what is saved then.
      const bool isRecording = scenario_.kind == Kind::Saving &&
                               (scenario_.first == std::string("tap Save\n") ||
                                (scenario_.anyOpen && fs::file_size(file) == fs::file_size(session_.movie())));
      if (isRecording)
        EXPECT_EQ(contentOf(file), contentOf(session_.movie()));
      else
        expectWhole(file, scenario_.length);
    }
    return all.size();
  }

  /// Whether the first try has been told to have ended, well or not, or is known to.
  bool isOver() const {
    if (scenario_.kind == Kind::Publishing)
      return !failure().empty() || session_.errors().find("zevanti: the video is at ") != std::string::npos;
    if (session_.errors().find(" could not be ") != std::string::npos) return true;
    if (scenario_.kind == Kind::Mailing) return desktop_->calls().find("ComposeEmail") != std::string::npos;
    return fs::exists(session_.copies() / "copy.m4v");
  }

  /// Why the video was not published, from the trace.
  std::string failure() const {
    std::istringstream lines(session_.errors());
    for (std::string line; std::getline(lines, line);) {
      const std::size_t at = line.find("Publishing: ");
      const bool isWarning = line.find("can't keep the upload") != std::string::npos ||
                             line.find("the sign-in can't be kept") != std::string::npos;
      if (at != std::string::npos && !isWarning) return line.substr(at + std::strlen("Publishing: "));
    }
    return "";
  }

  const Scenario& scenario_;
  const Way& way_;
  FaultSession session_;
  std::optional<Desktop> desktop_;
  std::optional<VideoService> service_;
  std::size_t madeFirst_ = 0;
};

struct FaultOfRun {
  const Way* way;
  int number;
};

/// Every call of the first try with every error, in some order.
std::vector<FaultOfRun> faultsOf(const Scenario& scenario, std::mt19937& random) {
  FaultyRun run(scenario, ways[0], 0);
  EXPECT_EQ(run.attempt(), "") << scenario.name;
  const auto calls = static_cast<int>(run.session().injected().size());
  EXPECT_GT(calls, 2) << scenario.name;
  std::vector<FaultOfRun> faults;
  for (int number = 1; number <= calls; ++number) {
    if (scenario.anyOpen) {
      for (const Way& way : waysToOpen) faults.push_back({&way, number});
    } else {
      for (const Way& way : ways) faults.push_back({&way, number});
    }
  }
  std::shuffle(faults.begin(), faults.end(), random);
  return faults;
}

}  // namespace

TEST(Faults, AtEachOpenAndWriteAreToldAndLoseNothing) {
  if (!FaultPlan::isPossible()) GTEST_SKIP() << "the sanitizer's runtime and a preloaded library don't go together";
  const auto seed = static_cast<unsigned>(amount("ZEVANTI_SOAK_SEED", 1));
  const int runs = amount("ZEVANTI_SOAK_FAULTS", static_cast<int>(std::size(scenarios)));
  const char* only = std::getenv("ZEVANTI_SOAK_SCENARIO");
  std::mt19937 random(seed);
  struct Figures {
    std::vector<FaultOfRun> faults;
    std::size_t survived = 0, told = 0;
  };
  std::map<const Scenario*, Figures> figures;
  std::vector<const Scenario*> order;
  for (const Scenario& scenario : scenarios) {
    if (!only || scenario.name == std::string(only)) order.push_back(&scenario);
  }
  std::shuffle(order.begin(), order.end(), random);
  int done = 0, told = 0;
  // One of each scenario in turn, as long as there are any.
  for (std::size_t turn = 0; done < runs && !order.empty(); ++turn) {
    const auto place = order.begin() + static_cast<std::ptrdiff_t>(turn % order.size());
    const Scenario& scenario = **place;
    const bool isNew = figures.find(&scenario) == figures.end();
    Figures& count = figures[&scenario];
    if (isNew) count.faults = faultsOf(scenario, random);
    if (testing::Test::HasFailure()) return;
    if (count.survived == count.faults.size()) {
      order.erase(place);
      continue;
    }
    const auto& [way, number] = count.faults[count.survived++];
    SCOPED_TRACE(std::string(scenario.name) + ", " + way->name + " at call " + std::to_string(number));
    FaultyRun run(scenario, *way, number);
    const std::string message = run.attempt();
    std::printf("%-17s %-11s %s: %s\n", scenario.name, way->name, run.fault().c_str(),
                message.empty() ? "done all the same" : message.c_str());
    std::fflush(stdout);
    run.expectNothingIsHalfThere(message);
    run.expectSecondTryWorks();
    if (testing::Test::HasFailure()) {
      ADD_FAILURE() << run.session().errors();
      for (const std::string& line : run.session().injected()) std::printf("  %s\n", line.c_str());
      return;
    }
    ++done;
    if (!message.empty()) ++told, ++count.told;
  }
  for (const auto& [scenario, count] : figures) {
    std::printf("%-17s %4zu of %4zu faults survived, %zu told\n", scenario->name, count.survived, count.faults.size(),
                count.told);
  }
  std::printf("%d faults survived, %d of them told, seed %u\n", done, told, seed);
  RecordProperty("faults", done);
  EXPECT_GT(told, 0);
}
