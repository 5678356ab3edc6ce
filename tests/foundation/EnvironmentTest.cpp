#include "platform/Foundation/DesktopFolders.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/ExtensionLaunch.h"
#include "platform/Foundation/NSBundle.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

// What a copy of this program with the mark looks at; see below.
TEST(Environment, DISABLED_OfASetUserIdProgram) {
  EXPECT_TRUE(hasOthersRights());
  ASSERT_STREQ(std::getenv("XDG_CACHE_HOME"), "/redirected");
  for (const char* name : {"XDG_CACHE_HOME", "ZEVANTI_BUNDLE", "ZEVANTI_LIBRARY", "HOME"})
    EXPECT_EQ(environmentVariable(name), "") << name;
  EXPECT_EQ(temporaryDirectoryPath().find("redirected"), std::string::npos);
  EXPECT_EQ(NSBundle::mainBundle()->bundlePath(), fs::read_symlink("/proc/self/exe").parent_path());
  EXPECT_EQ(ExtensionLaunch::takeFromEnvironment().library, "");
  for (const std::string& folder : desktopConfigurationFolders())
    EXPECT_EQ(folder.find("redirected"), std::string::npos);
}

TEST(Environment, SaysNothingToASetUserIdProgram) {
#ifdef ZEVANTI_SANITIZED
  GTEST_SKIP() << "a sanitizer's runtime does not start that way";
#endif
  const ScratchFolder folder;
  fs::permissions(folder.path(), fs::perms::owner_all | fs::perms::others_exec | fs::perms::others_read);
  struct statvfs disk {};
  if (geteuid() != 0 || statvfs(folder.path().c_str(), &disk) != 0 || (disk.f_flag & ST_NOSUID) != 0)
    GTEST_SKIP() << "a set-user-ID program takes root to make, and a disk that has such";
  const std::string program = folder / "program";
  fs::copy_file(fs::read_symlink("/proc/self/exe"), program);
  ASSERT_EQ(chmod(program.c_str(), 04755), 0);
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t nobody = 65534;
    for (const char* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "ZEVANTI_BUNDLE", "ZEVANTI_LIBRARY", "HOME"})
      setenv(name, "/redirected", 1);
    if (setgid(nobody) != 0 || setuid(nobody) != 0) _exit(126);
    execl(program.c_str(), program.c_str(), "--gtest_filter=Environment.DISABLED_OfASetUserIdProgram",
          "--gtest_also_run_disabled_tests", "--gtest_brief=1", nullptr);
    _exit(127);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}
