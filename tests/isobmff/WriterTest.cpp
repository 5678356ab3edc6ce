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
#include <stdexcept>

#include <unistd.h>

namespace {

using namespace isobmff;
using synthetic::Builder;
using synthetic::byteAt;
using synthetic::planned;
using synthetic::scratchFile;
using namespace box_builder;

void fillSource(int file, std::uint64_t from, std::uint64_t to) {
  Bytes bytes(to - from);
  for (std::uint64_t i = from; i < to; ++i) bytes[i - from] = byteAt(i);
  ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), off_t(from)), ssize_t(bytes.size()));
}

std::string text(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}
Box boxOf(FourCC type, const std::string& content) {
  return {type, Bytes(content.begin(), content.end()), {}};
}

Bytes readBytes(int file, std::uint64_t from, std::size_t count) {
  Bytes bytes(count);
  const ssize_t got = pread(file, bytes.data(), count, off_t(from));
  bytes.resize(std::size_t(std::max<ssize_t>(got, 0)));
  return bytes;
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

/// A part of a movie, written from made-up media and read back.
struct Copy {
  Copy(const Movie& source, double from, double to) : plan(planned(source, from, to)) {
    const FileDescriptor media = scratchFile();
    fillSource(media.get(), 0, source.fileSize);
    std::vector<float> progress;
    const auto note = [&](float value) { progress.push_back(value); };
    NSErrorPtr error = writeMovie(source, *plan, media.get(), output.get(), note, nullptr);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_EQ(progress.empty() ? 0 : progress.back(), 1);
    if (!error) movie = readMovie(output.get(), "Copy", &error);
    if (error) throw std::runtime_error(error->localizedDescription());
  }
  /// The content of a box in the first track's sample table; "none" where it is missing.
  std::string table(FourCC type) const {
    const Box* box = descendant(*sampleTableBox(*movie, 0), {type});
    return box ? text(box->payload) : "none";
  }

  std::unique_ptr<CutPlan> plan;
  FileDescriptor output = scratchFile();
  std::unique_ptr<Movie> movie;
};

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
  const std::string meaning = u32(0x01000000) + "abcd" + u32s({1, 2}) + "\x80\x81";
  table.children.push_back(boxOf(fourCC("sgpd"), meaning));
  for (const FourCC type : {fourCC("sbgp"), fourCC("stps"), fourCC("xyzw")}) table.children.push_back(boxOf(type, ""));
  const Movie movie = builder.finish(5000, 3);
  const Copy copy(movie, 3.3, 7.7);
  expectSamples(*copy.movie, *copy.plan, copy.output.get());
  EXPECT_EQ(copy.movie->fileType, movie.fileType);
  EXPECT_EQ(copy.movie->timescale, copy.plan->timescale);

  // Tables by sample follow theirs.
  const Track& track = copy.movie->tracks[0];
  const std::uint32_t first = copy.plan->tracks[0].runs.front().index;
  ASSERT_EQ(track.dependencies.size(), copy.plan->tracks[0].runs.size());
  for (std::size_t i = 0; i < track.dependencies.size(); ++i) {
    ASSERT_EQ(track.dependencies[i], std::uint8_t((first + i) % 0xC0)) << i;
  }
  ASSERT_EQ(track.groups.size(), 2U);
  std::vector<std::uint32_t> kinds;
  for (const SampleGroup::Run& run : track.groups[0].runs) kinds.insert(kinds.end(), run.count, run.description);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const std::size_t at = first + i;
    ASSERT_EQ(kinds[i], at < 100 ? 0U : at < 131 ? 1U : at < 191 ? 2U : 0U) << i;
  }
  EXPECT_EQ(track.groups[1].parameter, 77U);
  EXPECT_EQ(copy.table(fourCC("stsd")), text(descendant(*sampleTableBox(movie, 0), {fourCC("stsd")})->payload));
  EXPECT_EQ(copy.table(fourCC("sgpd")), meaning);
  EXPECT_EQ(copy.table(fourCC("xyzw")), "none") << "a table that nobody knows";
}

TEST(Writer, ChaptersTellTheTimesOfTheCut) {
  struct Chapter {
    double start;
    std::string name;
  };
  const auto list = [](const std::vector<Chapter>& chapters) {
    std::string content = u32(0) + u8(chapters.size());
    for (const Chapter& chapter : chapters)
      content += u64(std::uint64_t(std::llround(chapter.start * 1e7))) + u8(chapter.name.size()) + chapter.name;
    return fullBox("chpl", 1, 0, content);
  };
  const std::string before = box("name", "A movie"), behind = box("auth", "me") + zeros(4);
  const auto userData = [&](const std::string& chapters, double from, double to) {
    Movie movie = synthetic::withPictures(300).finish();
    const std::string content = before + chapters + behind;
    movie.moov.children.push_back(boxOf(fourCC("udta"), content));
    const Copy copy(movie, from, to);
    const Box* box = descendant(copy.movie->moov, {fourCC("udta")});
    return box ? text(box->payload) : "none";
  };
  const std::string all = list({{0, "One"}, {2.5, "Two"}, {4, "Three"}, {6, ""}, {8, "Five"}});
  EXPECT_EQ(userData(all, 3, 7), before + list({{0, "Two"}, {1, "Three"}, {3, ""}}) + behind);
  EXPECT_EQ(userData(all, 4, 6), before + list({{0, "Three"}}) + behind);
  EXPECT_EQ(userData(all, 0, 10), before + all + behind);
  EXPECT_EQ(userData(list({{5, "Late"}, {1, "Early"}}), 2, 9), before + list({{0, "Early"}, {3, "Late"}}) + behind);
  EXPECT_EQ(userData(list({{5, "Late"}}), 2, 4), before + behind);
  EXPECT_EQ(userData(fullBox("chpl", 1, 0, "damaged"), 2, 4), before + behind);
  EXPECT_EQ(userData("", 2, 4), before + behind);
}

TEST(Writer, MarksInTheHeaderAreInTheTimesOfTheCut) {
  // QuickTime's: preview (begin, length), poster, selection (begin, length), current time; of a scale of 1000.
  const auto marks = [](std::initializer_list<std::uint32_t> values) {
    Movie movie = synthetic::withPictures(300).finish();
    Bytes& header = movie.moov.children[0].payload;
    ByteWriter out(header);
    std::size_t at = header.size() - 28;
    for (const std::uint32_t value : values) out.setU32(at, value), at += 4;
    const Copy copy(movie, 3, 7);
    std::vector<double> seconds;
    const Bytes& found = copy.movie->moov.children[0].payload;
    for (std::size_t i = 0; i < 6; ++i)
      seconds.push_back(loadU32(&found[found.size() - 28 + 4 * i]) / double(copy.movie->timescale));
    return seconds;
  };
  using Seconds = std::vector<double>;
  EXPECT_EQ(marks({2000, 3000, 4500, 6000, 500, 5000}), (Seconds{0, 2, 1.5, 3, 0.5, 2}));
  EXPECT_EQ(marks({1000, 1000, 9000, 6500, 2500, 1}), (Seconds{0, 0, 4, 3.5, 0.5, 0}));
  EXPECT_EQ(marks({0, 0, 0, 0, 0, 0}), Seconds(6));
}

TEST(Writer, WhatIsToldOfSamplesByNumberFollowsThem) {
  Builder builder = synthetic::withPictures(300);
  std::string priorities = u32(0), padding = u32s({0, 300});
  for (std::uint64_t i = 0; i < 300; ++i) priorities += u16(i * 3);
  for (std::uint64_t i = 0; i < 300; i += 2) padding += u8(i % 8 << 4 | (i + 1) % 8);
  const auto part = [](std::uint64_t distance, std::uint64_t mark) {
    return u32(distance) + u16(1) + u16(mark) + u16(7) + u32(0);
  };
  std::string parts = u32s({0, 42});
  for (std::uint64_t i = 1; i <= 42; ++i) parts += part(7, i * 7);  // of samples 7, 14, ..., counted from 1
  for (const Box& box : {boxOf(fourCC("stdp"), priorities), boxOf(fourCC("padb"), padding),
                         boxOf(fourCC("subs"), parts), boxOf(fourCC("saio"), u32s({0, 1, 4096}))})
    builder.sampleTable(0).children.push_back(box);
  const Copy copy(builder.finish(), 3.1, 4.5);  // samples 90 to 134, counted from 0
  ASSERT_EQ(copy.plan->tracks[0].runs.front().index, 90U);
  ASSERT_EQ(copy.plan->tracks[0].runs.back().index, 134U);
  EXPECT_EQ(copy.table(fourCC("stdp")), u32(0) + priorities.substr(4 + 180, 90));
  std::string cutPadding = u32s({0, 45}) + padding.substr(8 + 45, 23);
  cutPadding.back() = char(cutPadding.back() & 0xF0);
  EXPECT_EQ(copy.table(fourCC("padb")), cutPadding);
  std::string cutParts = u32s({0, 7}) + part(1, 91);
  for (std::uint64_t mark = 98; mark <= 133; mark += 7) cutParts += part(7, mark);
  EXPECT_EQ(copy.table(fourCC("subs")), cutParts);
  EXPECT_EQ(copy.table(fourCC("saio")), "none");
}

TEST(Writer, TellsTheRangeOfTheNewOffsetsWhereTheSourceDoes) {
  for (const bool told : {true, false}) {
    Builder builder;
    std::vector<synthetic::Picture> pictures = synthetic::steadyPictures(120, 512, 30, 2);
    for (synthetic::Picture& picture : pictures) picture.presentationTime -= 512;  // offsets below zero
    builder.addPictures(15360, pictures);
    // Numbers of the source that hold for no cut.
    if (told) builder.sampleTable(0).children.push_back(boxOf(fourCC("cslg"), u32s({0, 9, 9, 9, 9, 9})));
    const Copy copy(builder.finish(), 1.1, 2.5);
    const std::string index = text(readBytes(copy.output.get(), 0, 8192));
    const std::size_t found = index.find("cslg");
    ASSERT_EQ(found != std::string::npos, told);
    if (!told) continue;
    std::int64_t least = INT64_MAX, greatest = INT64_MIN, first = INT64_MAX, end = INT64_MIN;
    for (const SampleRun& sample : eachSample(copy.movie->tracks[0].runs)) {
      least = std::min<std::int64_t>(least, sample.compositionOffset);
      greatest = std::max<std::int64_t>(greatest, sample.compositionOffset);
      first = std::min(first, sample.presentationTime());
      end = std::max(end, sample.presentationTime() + sample.duration);
    }
    EXPECT_GT(greatest, 0);
    const auto word = [](std::int64_t value) { return std::uint64_t(std::uint32_t(value)); };
    EXPECT_EQ(index.substr(found + 4, 24),
              u32s({0, word(std::max<std::int64_t>(0, -least)), word(least), word(greatest), word(first), word(end)}));
  }
}

TEST(Writer, LeavesHintTracksOutAndNobodyRefersToThem) {
  Builder builder = synthetic::withPictures(100);
  builder.addSamples(fourCC("hint"), 90000, fourCC("rtp "), 10, {300000});
  // One reference to the hint track alone, and one to both.
  const std::string references = box("hint", u32(2)) + box("cdsc", u32s({2, 1}));
  builder.box(0).children.push_back(boxOf(fourCC("tref"), references));
  const Copy copy(builder.finish(), 0.5, 2.5);
  ASSERT_EQ(copy.movie->tracks.size(), 1U);
  const Box* left = descendant(copy.movie->moov.children[copy.movie->trackBoxes[0]], {fourCC("tref")});
  ASSERT_TRUE(left);
  EXPECT_EQ(text(left->payload), box("cdsc", u32(1)));
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
  const NSErrorPtr error = writeMovie(movie, *plan, source.get(), output.get(), nullptr, [] { return true; });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), ECANCELED);
  ASSERT_EQ(ftruncate(output.get(), off_t(9ULL << 30)), 0);
  const auto copy = readMovie(output.get(), "Copy", nullptr);
  ASSERT_TRUE(copy);
  expectSamples(*copy, *plan, output.get(), false);
  const std::vector<SampleRun> samples = eachSample(copy->tracks[0].runs);
  EXPECT_EQ(samples.back().offset - samples.front().offset, 39ULL * (200 << 20));
  EXPECT_EQ(samples.front().offset % 4096, 777U) << "the same place in a block as in the source";
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
