#pragma once

#include <cstdint>
#include <functional>
#include <utility>

namespace isobmff {

/// Thrown while a cut is planned, and caught at the door: it would take more than is allowed, or nobody wants it any
/// more.
struct CutRefused {
  bool cancelled = false;
};

/// What planning one cut may take, for all tracks of the movie together: a file of a few bytes and many holes may claim
/// any number of pictures. An hour's recording takes a hundredth of it, ten hours with two tracks of sound three
/// quarters.
class CutBudget {
 public:
  struct Limits {
    std::uint64_t samples = 8'000'000;     ///< planned one by one, or runs of those that are alike; 40 bytes each
    std::uint64_t tableBytes = 256 << 20;  ///< of the new file's sample tables
    std::uint64_t steps = 400'000'000;     ///< of some nanoseconds each: samples looked at; a read is a hundred
  };

  CutBudget(const Limits& limits, std::function<bool()> isCancelled)
      : samples_(limits.samples),
        tableBytes_(limits.tableBytes),
        steps_(limits.steps),
        isCancelled_(std::move(isCancelled)) {}

  /// All throw CutRefused. `step` also when the cut has been cancelled.
  void keepSamples(std::uint64_t count) { take(samples_, count); }
  void addTables(std::uint64_t bytes) { take(tableBytes_, bytes); }
  void step(std::uint64_t count = 1) {
    take(steps_, count);
    sinceAsked_ += count;
    if (sinceAsked_ < kBetweenQuestions) return;
    sinceAsked_ = 0;
    if (isCancelled_ && isCancelled_()) throw CutRefused{true};
  }

 private:
  static constexpr std::uint64_t kBetweenQuestions = 1 << 16;

  static void take(std::uint64_t& left, std::uint64_t count) {
    if (count > left) throw CutRefused{};
    left -= count;
  }

  std::uint64_t samples_, tableBytes_, steps_, sinceAsked_ = 0;
  std::function<bool()> isCancelled_;
};

}  // namespace isobmff
