#include "Session.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

TEST(Output, WithoutAReaderNothingIsLostButTheStatusSaysSo) {
  for (const auto output :
       {Session::StandardOutput::PipeWithoutReader, Session::StandardOutput::Full, Session::StandardOutput::Closed}) {
    // With `state` the editor's process has something to print as well, and while work is still to be done.
    for (const bool printsState : {false, true}) {
      SCOPED_TRACE(static_cast<int>(output));
      SCOPED_TRACE(printsState);
      Session session;
      session.standardOutput = output;
      const fs::path movie = session.copyOf("video_only.mp4");
      const std::string before = contentOf(movie);
      const std::string print = printsState ? "state\ntime\n" : "";
      EXPECT_EQ(session.run(movie, "wait ready\ndrag start 2\nwait editing\n" + print + "tap Done\nwait saved 60\n" +
                                       print + "wait ready\ntap Save\nwait finished 60\n"),
                1);
      EXPECT_NE(session.errors().find("can't write to standard output"), std::string::npos) << session.errors();
      EXPECT_EQ(session.saved().size(), 2U) << "the trimmed movie, saved twice";
      EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
      EXPECT_EQ(contentOf(movie), before);
    }
  }
}

TEST(Output, NothingToSayIsNoFailure) {
  Session session;
  session.standardOutput = Session::StandardOutput::PipeWithoutReader;
  EXPECT_EQ(session.run(session.copyOf("video_only.mp4"), "wait ready\ntap Cancel\nwait finished\n"), 0)
      << session.errors();
}
