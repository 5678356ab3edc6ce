#include "platform/MobileGestalt/MobileGestalt.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/NSFileManager.h"

bool MGGetBoolAnswer(const std::string& question) {
  if (question != "not-green-tea") return false;
  bool isDirectory = false;
  return NSFileManager::defaultManager().fileExistsAtPath_isDirectory(
             systemPath("/System/Library/PublishingBundles/PublishToYouTube.bundle/PublishToYouTube"), &isDirectory) &&
         !isDirectory;
}
