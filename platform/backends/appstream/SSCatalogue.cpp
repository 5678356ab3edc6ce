#include "platform/StoreServices/SSCatalogue.h"

#include "platform/Foundation/DesktopFolders.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/PersonLanguages.h"
#include "platform/Foundation/os_trace.h"
#include "platform/backends/appstream/AppStreamLibrary.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string_view>

namespace {

constexpr std::string_view kDesktopSuffix = ".desktop";

/// The locale of the person's messages as the catalogue writes it: "de_AT", or "C".
std::string messageLocale() {
  const auto languages = personLanguages();
  return languages.empty() ? "C" : languages.front();
}

struct Unref {
  void operator()(void* object) const { AppStreamLibrary::shared()->g_object_unref(object); }
};
struct UnrefArray {
  void operator()(GPtrArray* array) const { AppStreamLibrary::shared()->g_ptr_array_unref(array); }
};
using Components = std::unique_ptr<GPtrArray, UnrefArray>;

std::string text(const char* value) {
  return value ? value : "";
}

SSCatalogue::Product describe(AsComponent* component) {
  const AppStreamLibrary& library = *AppStreamLibrary::shared();
  SSCatalogue::Product product;
  product.name = text(library.as_component_get_name(component));
  product.developer = text(library.as_component_get_developer_name(component));
  product.homepage = text(library.as_component_get_url(component, AS_URL_KIND_HOMEPAGE));
  if (const GPtrArray* categories = library.as_component_get_categories(component)) {
    for (guint i = 0; i < categories->len; ++i)
      product.categories.push_back(text(static_cast<const char*>(categories->pdata[i])));
  }
  return product;
}

/// One set of catalogue files, read when it is first searched.
class Pool {
 public:
  /// `folder`: where its files are; empty for the machine's own of the kinds in `flags`.
  Pool(unsigned flags, std::string folder) : flags_(flags), folder_(std::move(folder)) {}

  std::optional<SSCatalogue::Product> find(const std::vector<std::string>& identifiers,
                                           const std::string& desktopFile) {
    load();
    const AppStreamLibrary& library = *AppStreamLibrary::shared();
    for (const std::string& identifier : identifiers) {
      if (auto product = best(library.as_pool_get_components_by_id(pool_.get(), identifier.c_str()))) return product;
    }
    return best(
        library.as_pool_get_components_by_launchable(pool_.get(), AS_LAUNCHABLE_KIND_DESKTOP_ID, desktopFile.c_str()));
  }

  void load() {
    if (pool_) return;
    const AppStreamLibrary& library = *AppStreamLibrary::shared();
    pool_.reset(library.as_pool_new());
    library.as_pool_set_locale(pool_.get(), messageLocale().c_str());
    library.as_pool_set_flags(pool_.get(), static_cast<AsPoolFlags>(flags_));
    if (!folder_.empty()) {
      library.as_pool_set_load_std_data_locations(pool_.get(), FALSE);
      library.as_pool_reset_extra_data_locations(pool_.get());
      library.as_pool_add_extra_data_location(pool_.get(), folder_.c_str(), AS_FORMAT_STYLE_CATALOG);
    }
    if (!library.as_pool_load(pool_.get(), nullptr, &error_))
      os_trace_error("a part of the software catalogue can't be read");
  }

 private:
  /// An application among `found`, else the first of them.
  static std::optional<SSCatalogue::Product> best(GPtrArray* found) {
    const Components components(found);
    if (!components || components->len == 0) return {};
    const AppStreamLibrary& library = *AppStreamLibrary::shared();
    auto** const begin = reinterpret_cast<AsComponent**>(components->pdata);
    auto** const end = begin + components->len;
    auto** const application = std::find_if(begin, end, [&](AsComponent* component) {
      return library.as_component_get_kind(component) == AS_COMPONENT_KIND_DESKTOP_APP;
    });
    return describe(application == end ? *begin : *application);
  }

  unsigned flags_;
  std::string folder_;
  std::unique_ptr<AsPool, Unref> pool_;
  /// Neither read nor freed: the library has freed it already where its cache can't be opened.
  GError* error_ = nullptr;
};

/// For tests, and for looking into a catalogue before it is published: the folder that stands for the machine's own.
std::string givenFolder() {
  return environmentVariable("ZEVANTI_STORE_CATALOGUE");
}

// Pools are never destroyed: nobody should have to wait for that at exit.

Pool& givenPool() {
  static auto& pools = *new std::map<std::string, Pool>;
  return pools.try_emplace(givenFolder(), AS_POOL_FLAG_IGNORE_CACHE_AGE, givenFolder()).first->second;
}

Pool& installedPool() {
  static Pool& pool = *new Pool(AS_POOL_FLAG_LOAD_OS_METAINFO, "");
  return pool;
}

/// For what was installed in the very second in which the library's cache was made: it passes for current without it.
Pool& installedPoolReadAnew() {
  static Pool& pool = *new Pool(AS_POOL_FLAG_LOAD_OS_METAINFO | AS_POOL_FLAG_IGNORE_CACHE_AGE, "");
  return pool;
}

Pool& completePool() {
  static Pool& pool = *new Pool(AS_POOL_FLAG_LOAD_OS_CATALOG | AS_POOL_FLAG_LOAD_FLATPAK, "");
  return pool;
}

/// What an application says of itself in its desktop file, for one that no catalogue knows.
std::optional<SSCatalogue::Product> readDesktopFile(const std::string& name) {
  if (name.find('/') != std::string::npos) return {};
  const AppStreamLibrary& library = *AppStreamLibrary::shared();
  for (const std::string& folder : desktopDataFolders()) {
    std::ifstream file(std::filesystem::path(folder) / "applications" / name);
    if (!file) continue;
    const std::string content(std::istreambuf_iterator<char>(file), {});
    const std::unique_ptr<AsMetadata, Unref> metadata(library.as_metadata_new());
    library.as_metadata_set_locale(metadata.get(), messageLocale().c_str());
    GError* error = nullptr;
    library.as_metadata_parse_desktop_data(metadata.get(), content.c_str(), name.c_str(), &error);
    if (error) library.g_error_free(error);
    if (AsComponent* component = library.as_metadata_get_component(metadata.get())) return describe(component);
  }
  return {};
}

}  // namespace

bool SSCatalogue::isAvailable() {
  return AppStreamLibrary::shared() != nullptr;
}

void SSCatalogue::prepare() {
  if (AppStreamLibrary::shared()) (givenFolder().empty() ? installedPool() : givenPool()).load();
}

std::optional<SSCatalogue::Product> SSCatalogue::find(const std::string& identifier) {
  if (!AppStreamLibrary::shared() || identifier.empty()) return {};
  std::string bare = identifier;
  if (bare.ends_with(kDesktopSuffix)) bare.resize(bare.size() - kDesktopSuffix.size());
  const std::string desktopFile = bare + std::string(kDesktopSuffix);
  const std::vector<std::string> names{bare, desktopFile};

  if (!givenFolder().empty()) return givenPool().find(names, desktopFile);
  // What was recorded is nearly always installed, and what is installed is read in milliseconds. The catalogue of all
  // there is takes seconds where nothing has read it before.
  if (auto product = installedPool().find(names, desktopFile)) return product;
  if (auto product = installedPoolReadAnew().find(names, desktopFile)) return product;
  if (auto product = completePool().find(names, desktopFile)) return product;
  return readDesktopFile(desktopFile);
}
