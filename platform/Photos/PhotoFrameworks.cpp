#include "platform/Photos/PhotoFrameworks.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/NSObject.h"

#include <unordered_map>

namespace {

void registerClass(const char* name, const char* framework) {
  const runtime::LoadingBundle bundle(systemPath(std::string("/System/Library/Frameworks/") + framework));
  runtime::registerClass(
      std::make_unique<ClassInfo>(name, NSObject::staticClass(), nullptr, std::unordered_map<std::string, IMP>()));
}

}  // namespace

void photo_frameworks::load() {
  [[maybe_unused]] static const bool isLoaded = [] {
    registerClass("PLPhotoTileViewController", "PhotoLibrary.framework");
    registerClass("PUPhotoView", "PhotosUI.framework");
    return true;
  }();
}
