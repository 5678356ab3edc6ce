// Cuts written to real files and read back.
#include "BoxBuilder.h"
#include "SyntheticMovie.h"
#include "platform/backends/isobmff/ByteReader.h"
#include "platform/backends/isobmff/ByteWriter.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieReader.h"
#include "platform/backends/isobmff/MovieWriter.h"
#include "platform/backends/isobmff/RangeCopier.h"
#include "platform/backends/isobmff/SampleDescription.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <random>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace isobmff;
using synthetic::Builder;
using synthetic::byteAt;

/// A file without a name.
FileDescriptor scratchFile() {
  char path[] = "/var/tmp/zevanti-writer-XXXXXX";
  FileDescriptor file(mkstemp(path));
  unlink(path);
  return file;
}

void fillSource(int file, std::uint64_t from, std::uint64_t to) {
  Bytes bytes(to - from);
  for (std::uint64_t i = from; i < to; ++i) bytes[i - from] = byteAt(i);
  ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), off_t(from)), ssize_t(bytes.size()));
}

Bytes readBytes(int file, std::uint64_t from, std::size_t count) {
  Bytes bytes(count);
  const ssize_t got = pread(file, bytes.data(), count, off_t(from));
  bytes.resize(std::size_t(std::max<ssize_t>(got, 0)));
  return bytes;
}

std::unique_ptr<CutPlan> planned(const Movie& movie, double from, double to) {
  const CMTime start = CMTimeMakeWithSeconds(from, 1'000'000);
  NSErrorPtr error;
  auto plan = planCut(movie, -1, {start, CMTimeMakeWithSeconds(to - from, 1'000'000)}, "Movie", &error);
  EXPECT_TRUE(plan) << (error ? error->localizedDescription() : "");
  return plan;
}

std::unique_ptr<Movie> readBack(int file) {
  NSErrorPtr error;
  auto movie = readMovie(file, "Copy", &error);
  EXPECT_TRUE(movie) << (error ? error->localizedDescription() : "");
  return movie;
}

/// A part of a movie, written from made-up media and read back; null when that fails.
std::unique_ptr<Movie> cutAndReadBack(const Movie& movie, double from, double to, int output) {
  const FileDescriptor source = scratchFile();
  fillSource(source.get(), 0, movie.fileSize);
  const auto plan = planned(movie, from, to);
  if (!plan) return nullptr;
  const NSErrorPtr error = writeMovie(movie, *plan, source.get(), output, nullptr, nullptr);
  EXPECT_FALSE(error) << error->localizedDescription();
  return error ? nullptr : readBack(output);
}

std::vector<SampleRun> eachSample(const std::vector<SampleRun>& runs) {
  std::vector<SampleRun> samples;
  for (const SampleRun& run : runs) {
    for (std::uint32_t i = 0; i < run.count; ++i) {
      SampleRun sample = run;
      sample.count = 1;
      sample.index += i;
      sample.offset += std::uint64_t(i) * run.size;
      sample.decodeTime += std::int64_t(i) * run.duration;
      samples.push_back(sample);
    }
  }
  return samples;
}

/// The new file has the plan's samples with the plan's times, and each holds the bytes of its source sample.
void expectSamples(const Movie& copy, const CutPlan& plan, int output, bool compareBytes = true) {
  ASSERT_EQ(copy.tracks.size(), plan.tracks.size());
  for (std::size_t t = 0; t < plan.tracks.size(); ++t) {
    SCOPED_TRACE("track " + std::to_string(t));
    const std::vector<SampleRun> expected = eachSample(plan.tracks[t].runs), got = eachSample(copy.tracks[t].runs);
    ASSERT_EQ(got.size(), expected.size());
    EXPECT_EQ(copy.tracks[t].timescale, plan.tracks[t].timescale);
    EXPECT_EQ(copy.tracks[t].mediaDuration, plan.tracks[t].mediaDuration);
    ASSERT_EQ(copy.tracks[t].edits.size(), plan.tracks[t].edits.size());
    for (std::size_t i = 0; i < plan.tracks[t].edits.size(); ++i) {
      EXPECT_EQ(copy.tracks[t].edits[i].duration, plan.tracks[t].edits[i].duration);
      EXPECT_EQ(copy.tracks[t].edits[i].mediaTime, plan.tracks[t].edits[i].mediaTime);
    }
    for (std::size_t i = 0; i < got.size(); ++i) {
      ASSERT_EQ(got[i].size, expected[i].size) << i;
      ASSERT_EQ(got[i].decodeTime, expected[i].decodeTime) << i;
      ASSERT_EQ(got[i].compositionOffset, expected[i].compositionOffset) << i;
      ASSERT_EQ(got[i].sync, expected[i].sync) << i;
      ASSERT_EQ(got[i].partialSync, expected[i].partialSync) << i;
      ASSERT_EQ(got[i].description, expected[i].description) << i;
      if (!compareBytes) continue;
      const Bytes bytes = readBytes(output, got[i].offset, got[i].size);
      ASSERT_EQ(bytes.size(), expected[i].size);
      for (std::size_t k = 0; k < bytes.size(); ++k) ASSERT_EQ(bytes[k], byteAt(expected[i].offset + k)) << i;
    }
  }
}

TEST(Writer, KeepsTheBytesOfEverySampleAndTheMeaningOfEveryTable) {
  Builder builder;
  builder.addPictures(15360, synthetic::steadyPictures(300, 512, 48, 2, true));
  builder.addSound(48000, 48000, fourCC("mp4a"), 470, 1024);
  builder.addSound(48000, 48000, fourCC("sowt"), 480000, 1, 4800, 4);
  Track& pictures = builder.track(0);
  pictures.formats.push_back(fourCC("avc1"));
  pictures.dependencies.resize(300);
  for (std::size_t i = 0; i < 300; ++i) {
    pictures.runs[i].description = i < 120 ? 1 : 2;
    pictures.runs[i].partialSync = !pictures.runs[i].sync && i % 50 == 3;
    pictures.dependencies[i] = std::uint8_t(i % 0xC0);
  }
  pictures.groups.push_back({fourCC("abcd"), std::nullopt, {{100, 0}, {31, 1}, {60, 2}, {9, 0}}});
  pictures.groups.push_back({fourCC("abcd"), 77, {{300, 1}}});
  // A second description, the groups' meanings, and a box that nobody knows.
  Box& table = builder.sampleTable(0);
  Bytes& descriptions = table.children[0].payload;
  descriptions[7] = 2;
  const Bytes entry(descriptions.begin() + 8, descriptions.end());
  descriptions.insert(descriptions.end(), entry.begin(), entry.end());
  const Bytes meaning{1, 0, 0, 0, 'a', 'b', 'c', 'd', 0, 0, 0, 1, 0, 0, 0, 2, 0x80, 0x81};
  table.children.push_back({fourCC("sgpd"), meaning, {}});
  table.children.push_back({fourCC("sbgp"), {}, {}});
  table.children.push_back({fourCC("stps"), {}, {}});
  table.children.push_back({fourCC("xyzw"), {1, 2, 3}, {}});
  const Movie movie = builder.finish(5000, 3);
  const FileDescriptor source = scratchFile(), output = scratchFile();
  fillSource(source.get(), 0, movie.fileSize);

  const auto plan = planned(movie, 3.3, 7.7);
  ASSERT_TRUE(plan);
  std::vector<float> progress;
  const NSErrorPtr error = writeMovie(
      movie, *plan, source.get(), output.get(), [&](float value) { progress.push_back(value); }, [] { return false; });
  ASSERT_FALSE(error) << error->localizedDescription();
  ASSERT_FALSE(progress.empty());
  EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
  EXPECT_EQ(progress.back(), 1);

  const auto copy = readBack(output.get());
  ASSERT_TRUE(copy);
  expectSamples(*copy, *plan, output.get());
  EXPECT_EQ(copy->fileType, movie.fileType);
  EXPECT_EQ(copy->timescale, plan->timescale);

  // Tables by sample follow theirs.
  const Track& track = copy->tracks[0];
  const std::uint32_t first = plan->tracks[0].runs.front().index;
  ASSERT_EQ(track.dependencies.size(), plan->tracks[0].runs.size());
  for (std::size_t i = 0; i < track.dependencies.size(); ++i) {
    ASSERT_EQ(track.dependencies[i], pictures.dependencies.empty() ? 0 : std::uint8_t((first + i) % 0xC0)) << i;
  }
  ASSERT_EQ(track.groups.size(), 2U);
  std::vector<std::uint32_t> kinds;
  for (const SampleGroup::Run& run : track.groups[0].runs) kinds.insert(kinds.end(), run.count, run.description);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const std::size_t at = first + i;
    ASSERT_EQ(kinds[i], at < 100 ? 0U : at < 131 ? 1U : at < 191 ? 2U : 0U) << i;
  }
  EXPECT_EQ(track.groups[1].parameter, 77U);

  // All else is as it was.
  const Box* before = sampleTableBox(movie, 0);
  const Box* after = sampleTableBox(*copy, 0);
  ASSERT_TRUE(after);
  EXPECT_EQ(descendant(*after, {fourCC("stsd")})->payload, descendant(*before, {fourCC("stsd")})->payload);
  EXPECT_EQ(descendant(*after, {fourCC("sgpd")})->payload, meaning);
  EXPECT_FALSE(descendant(*after, {fourCC("xyzw")}));
  for (std::size_t t = 0; t < movie.tracks.size(); ++t) {
    const Box& was = movie.moov.children[movie.trackBoxes[t]];
    const Box& is = copy->moov.children[copy->trackBoxes[t]];
    EXPECT_EQ(descendant(is, {fourCC("udta")})->payload, descendant(was, {fourCC("udta")})->payload);
    EXPECT_EQ(descendant(is, {fourCC("mdia"), fourCC("hdlr")})->payload,
              descendant(was, {fourCC("mdia"), fourCC("hdlr")})->payload);
    EXPECT_EQ(descendant(is, {fourCC("mdia"), fourCC("minf"), fourCC("xmhd")})->payload, (Bytes{1, 2, 3}));
    // Dates and identifier in front of tkhd's length, all behind it.
    Bytes expected = descendant(was, {fourCC("tkhd")})->payload, header = descendant(is, {fourCC("tkhd")})->payload;
    ASSERT_EQ(header.size(), expected.size());
    std::fill_n(expected.begin() + 20, 4, std::uint8_t(0));
    std::fill_n(header.begin() + 20, 4, std::uint8_t(0));
    EXPECT_EQ(header, expected);
  }
}

/// Writes the cut and reads it back.
std::unique_ptr<Movie> copyOf(const Movie& movie, const CutPlan& plan) {
  const FileDescriptor source = scratchFile(), output = scratchFile();
  fillSource(source.get(), 0, movie.fileSize);
  const NSErrorPtr error = writeMovie(movie, plan, source.get(), output.get(), nullptr, nullptr);
  EXPECT_FALSE(error) << error->localizedDescription();
  return readBack(output.get());
}

TEST(Writer, ChaptersTellTheTimesOfTheCut) {
  struct Chapter {
    double start;
    std::string name;
  };
  const auto list = [](const std::vector<Chapter>& chapters) {
    std::string content = box_builder::u32(0) + box_builder::u8(chapters.size());
    for (const Chapter& chapter : chapters)
      content += box_builder::u64(std::uint64_t(std::llround(chapter.start * 1e7))) +
                 box_builder::u8(chapter.name.size()) + chapter.name;
    return box_builder::fullBox("chpl", 1, 0, content);
  };
  const std::string before = box_builder::box("name", "A movie"),
                    behind = box_builder::box("auth", "me") + box_builder::zeros(4);
  const auto userData = [&](const std::string& chapters, double from, double to) {
    Builder builder;
    builder.addPictures(600, synthetic::steadyPictures(300, 20, 30));
    Movie movie = builder.finish();
    const std::string content = before + chapters + behind;
    movie.moov.children.push_back({fourCC("udta"), Bytes(content.begin(), content.end()), {}});
    const auto plan = planned(movie, from, to);
    const auto copy = plan ? copyOf(movie, *plan) : nullptr;
    const Box* box = copy ? descendant(copy->moov, {fourCC("udta")}) : nullptr;
    return box ? std::string(box->payload.begin(), box->payload.end()) : "none";
  };
  const std::string all = list({{0, "One"}, {2.5, "Two"}, {4, "Three"}, {6, ""}, {8, "Five"}});
  EXPECT_EQ(userData(all, 3, 7), before + list({{0, "Two"}, {1, "Three"}, {3, ""}}) + behind);
  EXPECT_EQ(userData(all, 4, 6), before + list({{0, "Three"}}) + behind);
  EXPECT_EQ(userData(all, 0, 10), before + all + behind);
  EXPECT_EQ(userData(list({{5, "Late"}, {1, "Early"}}), 2, 9), before + list({{0, "Early"}, {3, "Late"}}) + behind);
  EXPECT_EQ(userData(list({{5, "Late"}}), 2, 4), before + behind);
  EXPECT_EQ(userData(box_builder::fullBox("chpl", 1, 0, "damaged"), 2, 4), before + behind);
  EXPECT_EQ(userData("", 2, 4), before + behind);
}

TEST(Writer, MarksInTheHeaderAreInTheTimesOfTheCut) {
  // QuickTime's: preview (begin, length), poster, selection (begin, length), current time; of a scale of 1000.
  const auto marks = [](std::initializer_list<std::uint32_t> values) {
    Builder builder;
    builder.addPictures(600, synthetic::steadyPictures(300, 20, 30));
    Movie movie = builder.finish();
    Bytes& header = movie.moov.children[0].payload;
    ByteWriter out(header);
    std::size_t at = header.size() - 28;
    for (const std::uint32_t value : values) out.setU32(at, value), at += 4;
    const auto plan = planned(movie, 3, 7);
    const auto copy = plan ? copyOf(movie, *plan) : nullptr;
    std::vector<double> seconds;
    const Bytes& found = copy->moov.children[0].payload;
    for (std::size_t i = 0; i < 6; ++i)
      seconds.push_back(loadU32(&found[found.size() - 28 + 4 * i]) / double(copy->timescale));
    return seconds;
  };
  using Seconds = std::vector<double>;
  EXPECT_EQ(marks({2000, 3000, 4500, 6000, 500, 5000}), (Seconds{0, 2, 1.5, 3, 0.5, 2}));
  EXPECT_EQ(marks({1000, 1000, 9000, 6500, 2500, 1}), (Seconds{0, 0, 4, 3.5, 0.5, 0}));
  EXPECT_EQ(marks({0, 0, 0, 0, 0, 0}), Seconds(6));
}

TEST(Writer, WhatIsToldOfSamplesByNumberFollowsThem) {
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(300, 20, 30));
  std::string priorities = box_builder::u32(0), padding = box_builder::u32s({0, 300});
  for (std::uint64_t i = 0; i < 300; ++i) priorities += box_builder::u16(i * 3);
  for (std::uint64_t i = 0; i < 300; i += 2) padding += box_builder::u8(i % 8 << 4 | (i + 1) % 8);
  const auto part = [](std::uint64_t distance, std::uint64_t mark) {
    return box_builder::u32(distance) + box_builder::u16(1) + box_builder::u16(mark) + box_builder::u16(7) +
           box_builder::u32(0);
  };
  std::string parts = box_builder::u32s({0, 42});
  for (std::uint64_t i = 1; i <= 42; ++i) parts += part(7, i * 7);  // of samples 7, 14, ..., counted from 1
  const auto add = [&](FourCC type, const std::string& content) {
    builder.sampleTable(0).children.push_back({type, Bytes(content.begin(), content.end()), {}});
  };
  add(fourCC("stdp"), priorities);
  add(fourCC("padb"), padding);
  add(fourCC("subs"), parts);
  add(fourCC("saio"), box_builder::u32s({0, 1, 4096}));
  const Movie movie = builder.finish();
  const auto plan = planned(movie, 3.1, 4.5);  // samples 90 to 134, counted from 0
  ASSERT_TRUE(plan);
  ASSERT_EQ(plan->tracks[0].runs.front().index, 90U);
  ASSERT_EQ(plan->tracks[0].runs.back().index, 134U);
  const auto copy = copyOf(movie, *plan);
  ASSERT_TRUE(copy);
  const auto content = [&](FourCC type) {
    const Box* box = descendant(*sampleTableBox(*copy, 0), {type});
    return box ? std::string(box->payload.begin(), box->payload.end()) : "none";
  };
  EXPECT_EQ(content(fourCC("stdp")), box_builder::u32(0) + priorities.substr(4 + 180, 90));
  std::string cutPadding = box_builder::u32s({0, 45}) + padding.substr(8 + 45, 23);
  cutPadding.back() = char(cutPadding.back() & 0xF0);
  EXPECT_EQ(content(fourCC("padb")), cutPadding);
  EXPECT_EQ(content(fourCC("subs")), box_builder::u32s({0, 7}) + part(1, 91) + part(7, 98) + part(7, 105) +
                                         part(7, 112) + part(7, 119) + part(7, 126) + part(7, 133));
  EXPECT_EQ(content(fourCC("saio")), "none");
}

TEST(Writer, TellsTheRangeOfTheNewOffsetsWhereTheSourceDoes) {
  for (const bool told : {true, false}) {
    Builder builder;
    std::vector<synthetic::Picture> pictures = synthetic::steadyPictures(120, 512, 30, 2);
    for (synthetic::Picture& picture : pictures) picture.presentationTime -= 512;  // offsets below zero
    builder.addPictures(15360, pictures);
    // Numbers of the source that hold for no cut.
    const std::string numbers = box_builder::u32s({0, 9, 9, 9, 9, 9});
    if (told) builder.sampleTable(0).children.push_back({fourCC("cslg"), Bytes(numbers.begin(), numbers.end()), {}});
    const Movie movie = builder.finish();
    const FileDescriptor output = scratchFile();
    const auto copy = cutAndReadBack(movie, 1.1, 2.5, output.get());
    ASSERT_TRUE(copy);
    const Bytes index = readBytes(output.get(), 0, 8192);
    const std::string_view type = "cslg";
    const auto found = std::search(index.begin(), index.end(), type.begin(), type.end());
    ASSERT_EQ(found != index.end(), told);
    if (!told) continue;
    std::int64_t least = INT64_MAX, greatest = INT64_MIN, first = INT64_MAX, end = INT64_MIN;
    for (const SampleRun& sample : eachSample(copy->tracks[0].runs)) {
      least = std::min<std::int64_t>(least, sample.compositionOffset);
      greatest = std::max<std::int64_t>(greatest, sample.compositionOffset);
      first = std::min(first, sample.presentationTime());
      end = std::max(end, sample.presentationTime() + sample.duration);
    }
    EXPECT_GT(greatest, 0);
    std::vector<std::int64_t> written;
    for (int i = 0; i < 6; ++i) written.push_back(std::int32_t(loadU32(&*found + 4 + 4 * i)));
    EXPECT_EQ(written, (std::vector<std::int64_t>{0, std::max<std::int64_t>(0, -least), least, greatest, first, end}));
  }
}

TEST(Writer, LeavesHintTracksOutAndNobodyRefersToThem) {
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(100, 20, 30));
  builder.addSamples(fourCC("hint"), 90000, fourCC("rtp "), 10, {300000});
  builder.box(0).children.push_back({fourCC("tref"),
                                     {0, 0, 0, 12, 'h', 'i', 'n', 't', 0, 0, 0, 2,  // only to the hint track
                                      0, 0, 0, 16, 'c', 'd', 's', 'c', 0, 0, 0, 2, 0, 0, 0, 1},
                                     {}});  // to both
  const Movie movie = builder.finish();
  const FileDescriptor output = scratchFile();
  const auto copy = cutAndReadBack(movie, 0.5, 2.5, output.get());
  ASSERT_TRUE(copy);
  ASSERT_EQ(copy->tracks.size(), 1U);
  const Box* references = descendant(copy->moov.children[copy->trackBoxes[0]], {fourCC("tref")});
  ASSERT_TRUE(references);
  EXPECT_EQ(references->payload, (Bytes{0, 0, 0, 12, 'c', 'd', 's', 'c', 0, 0, 0, 1}));
}

TEST(Writer, TakesMediaFromBeyondFourGigabytes) {
  // A picture at the beginning, the others far away: holes lie between.
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(60, 20, 60));
  Movie movie = builder.finish();
  constexpr std::uint64_t far = 5ULL << 30;
  for (std::size_t i = 1; i < 60; ++i) movie.tracks[0].runs[i].offset += far;
  movie.fileSize += far;
  const FileDescriptor source = scratchFile(), output = scratchFile();
  fillSource(source.get(), 0, 8192);
  fillSource(source.get(), far + 4096, movie.fileSize);
  const auto plan = planned(movie, 0.5, 1.5);
  ASSERT_TRUE(plan);
  ASSERT_FALSE(writeMovie(movie, *plan, source.get(), output.get(), nullptr, nullptr));
  const auto copy = readBack(output.get());
  ASSERT_TRUE(copy);
  expectSamples(*copy, *plan, output.get());
  EXPECT_LT(copy->fileSize, 1U << 20);
}

TEST(Writer, LargeFilesHaveWideOffsetsAndLengths) {
  // Everything but the media is written before a cancellation is heeded.
  Builder builder;
  builder.addPictures(90000, synthetic::steadyPictures(40, 3000, 10));
  Movie movie = builder.finish();
  std::uint64_t offset = 777;
  for (SampleRun& run : movie.tracks[0].runs) {
    run.offset = offset;
    run.size = 200 << 20;
    run.duration = 90'000 * 3600 / 4;  // ten hours in all: the movie's ticks need more than 32 bits
    run.decodeTime = std::int64_t(run.index) * run.duration;
    offset += run.size;
  }
  movie.tracks[0].mediaDuration = 40LL * 90'000 * 900;
  const FileDescriptor source = scratchFile(), output = scratchFile();
  ASSERT_EQ(ftruncate(source.get(), off_t(offset)), 0);
  const auto plan = planned(movie, 0, 36'000);
  ASSERT_TRUE(plan);
  const NSErrorPtr error = writeMovie(movie, *plan, source.get(), output.get(), nullptr, [] { return true; });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), ECANCELED);
  ASSERT_EQ(ftruncate(output.get(), off_t(9ULL << 30)), 0);
  const auto copy = readBack(output.get());
  ASSERT_TRUE(copy);
  expectSamples(*copy, *plan, output.get(), false);
  const std::vector<SampleRun> samples = eachSample(copy->tracks[0].runs);
  EXPECT_EQ(samples.back().offset - samples.front().offset, 39ULL * (200 << 20));
  EXPECT_EQ(samples.front().offset % 4096, 777U) << "the same place in a block as in the source";
}

TEST(Writer, SaysWhatWentWrongAndStops) {
  Builder builder;
  builder.addPictures(600, synthetic::steadyPictures(100, 20, 30));
  const Movie movie = builder.finish();
  const auto plan = planned(movie, 0.5, 2.5);
  ASSERT_TRUE(plan);
  const FileDescriptor source = scratchFile(), output = scratchFile();
  fillSource(source.get(), 0, movie.fileSize);

  const FileDescriptor full(open("/dev/full", O_RDWR | O_CLOEXEC));
  NSErrorPtr error = writeMovie(movie, *plan, source.get(), full.get(), nullptr, nullptr);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error->code(), ENOSPC);

  // The recording shrinks: before the copy, and during it.
  bool shrunk = false;
  error = writeMovie(movie, *plan, source.get(), output.get(), nullptr, [&] {
    const bool now = !std::exchange(shrunk, true);
    EXPECT_EQ(now ? ftruncate(source.get(), off_t(movie.fileSize / 2)) : 0, 0);
    return false;
  });
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), EIO);
    EXPECT_NE(error->localizedDescription().find("shorter"), std::string::npos);
    error = writeMovie(movie, *plan, source.get(), output.get(), nullptr, nullptr);
  }
}

TEST(RangeCopier, PutsEveryByteInItsPlaceWhateverTheSizes) {
  std::mt19937 random(7);
  const FileDescriptor source = scratchFile(), output = scratchFile();
  constexpr std::uint64_t size = 24 << 20;
  fillSource(source.get(), 0, size);
  // Mostly small pieces with small gaps; now and then a wide gap, a middling piece, and one with its place in a block.
  std::vector<MediaLayout::Piece> pieces;
  std::uint64_t at = 11, target = 0;
  while (true) {
    const std::uint32_t kind = random() % 40;
    const std::uint64_t length = kind == 0 ? 300'000 + random() % 2'000'000 : 1 + random() % (kind < 4 ? 200'000 : 900);
    at += kind % 3 == 0 ? random() % 150'000 : random() % 50;
    if (at + length > size) break;
    if (length >= 300'000) target += (at - target) % MediaLayout::kBlock;
    pieces.push_back({at, length, target});
    at += length;
    target += length;
  }
  ASSERT_GT(pieces.size(), 100U);
  for (const bool inKernel : {false, true}) {
    ASSERT_EQ(ftruncate(output.get(), 0), 0);
    std::uint64_t done = 0;
    RangeCopier copier(
        source.get(), output.get(), [&](std::uint64_t bytes) { done = bytes; }, nullptr);
    copier.setCopiesInKernel(inKernel);
    const RangeCopier::Result result = copier.copy(pieces, 4096);
    ASSERT_EQ(result.error, 0);
    std::uint64_t total = 0;
    for (const MediaLayout::Piece& piece : pieces) {
      total += piece.length;
      const Bytes bytes = readBytes(output.get(), 4096 + piece.target, piece.length);
      ASSERT_EQ(bytes.size(), piece.length);
      for (std::uint64_t i = 0; i < piece.length; ++i) ASSERT_EQ(bytes[i], byteAt(piece.source + i));
    }
    EXPECT_EQ(done, total);
  }
}

TEST(Writer, TenHoursArePlannedAndLaidOutInLinearTime) {
  // Ten times as much takes about ten times as long, on a busy machine several times that. Quadratic is a hundred.
  const auto seconds = [](int hours) {
    Builder builder;
    builder.addPictures(15360, synthetic::steadyPictures(hours * 3600 * 30, 512, 300, 2));
    builder.addSound(48000, 48000, fourCC("mp4a"), hours * 168'750, 1024);
    builder.addSound(48000, 48000, fourCC("mp4a"), hours * 168'750, 1024);
    const Movie movie = builder.finish(4096, 1);
    const FileDescriptor source = scratchFile(), output = scratchFile();
    EXPECT_EQ(ftruncate(source.get(), off_t(movie.fileSize)), 0);
    const auto start = std::chrono::steady_clock::now();
    const auto plan = planned(movie, 1, hours * 3600 - 1);
    EXPECT_TRUE(writeMovie(movie, *plan, source.get(), output.get(), nullptr, [] { return true; }));
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  const double one = std::max(seconds(1), 0.01), ten = seconds(10);
  RecordProperty("milliseconds", int(ten * 1000));
  std::printf("1 h: %.0f ms, 10 h: %.0f ms\n", one * 1000, ten * 1000);
  EXPECT_LT(ten, one * 60);
}

}  // namespace
