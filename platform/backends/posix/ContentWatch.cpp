#include "platform/backends/posix/ContentWatch.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

constexpr std::size_t kPlaceSize = 4096;  // the first of them has what differs from recording to recording
constexpr std::int64_t kPlaces = 32;
// The kernel sets the time of modification some moments before it takes the note, or makes the file longer.
constexpr int kLooks = 10;
constexpr std::chrono::milliseconds kBetweenLooks(5);

bool isSameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

ContentWatch::ContentWatch(int file) : file_(file), notes_(FileNotes::shared().begin(file)) {
  if (notes_ >= 0) noted_ = FileNotes::shared().counts(notes_);
  fstat(file_, &known_);
  places_.push_back(placeAt(0));
}

ContentWatch::~ContentWatch() {
  if (notes_ >= 0) FileNotes::shared().end(notes_);
}

ContentWatch::Place ContentWatch::placeAt(std::int64_t offset) const {
  Place place{offset, std::vector<char>(kPlaceSize)};
  const ssize_t count = pread(file_, place.content.data(), kPlaceSize, offset);
  place.content.resize(count > 0 ? std::size_t(count) : 0);
  return place;
}

void ContentWatch::rememberPlaces() {
  const std::lock_guard lock(mutex_);
  const std::int64_t last = known_.st_size - std::int64_t(kPlaceSize);
  if (places_.size() > 1 || last <= 0) return;
  for (std::int64_t place = 1; place <= kPlaces; ++place) {
    places_.push_back(placeAt(last / kPlaces * place + last % kPlaces * place / kPlaces));
  }
}

bool ContentWatch::isAsItWas(const Place& place) const {
  const std::vector<char> now = placeAt(place.offset).content;
  // What was all of a short file is the beginning of a grown one.
  return now.size() >= place.content.size() && std::equal(place.content.begin(), place.content.end(), now.begin());
}

bool ContentWatch::arePlacesAsTheyWere() const {
  return std::all_of(places_.begin(), places_.end(), [this](const Place& place) { return isAsItWas(place); });
}

ContentWatch::Look ContentWatch::look() {
  // The notes first: what they tell of can then be seen in the file.
  const FileNotes::Counts notes = notes_ >= 0 ? FileNotes::shared().counts(notes_) : FileNotes::Counts();
  struct stat now {};
  if (fstat(file_, &now) != 0) return Look::Same;
  const auto verdict = [](bool isSame) { return isSame ? Look::Same : Look::Changed; };
  if (now.st_size < known_.st_size) return Look::Changed;
  if (now.st_size > known_.st_size) return verdict(arePlacesAsTheyWere());
  if (notes.writes != noted_.writes) return Look::Changed;
  const bool attributesWereSet = notes.attributes != noted_.attributes;
  noted_ = notes;
  if (isSameTime(now.st_mtim, known_.st_mtim)) return verdict(isAsItWas(places_.front()));
  if (!attributesWereSet) return Look::Unclear;
  known_.st_mtim = now.st_mtim;
  return verdict(arePlacesAsTheyWere());
}

bool ContentWatch::hasChanged() {
  const std::lock_guard lock(mutex_);
  if (changed_) return true;
  Look seen = look();
  for (int again = 1; seen == Look::Unclear && again < kLooks; ++again) {
    std::this_thread::sleep_for(kBetweenLooks);
    seen = look();
  }
  changed_ = seen != Look::Same;
  return changed_;
}
