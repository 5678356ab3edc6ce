#pragma once

#include "platform/backends/posix/LibraryOnDemand.h"

// The deprecated half of its own headers warns about itself.
#include <appstream.h>

/// libappstream with the parts of GLib that go with it, opened when the first question comes: with the dozen libraries
/// that nothing else here needs (among them one for downloads) it would make every start of the editor wait.
class AppStreamLibrary : public LibraryOnDemand<AppStreamLibrary> {
 public:
#define ZV_APPSTREAM_FUNCTIONS(apply)                                                                         \
  apply(as_pool_new) apply(as_pool_set_locale) apply(as_pool_set_flags) apply(as_pool_load)                   \
      apply(as_pool_set_load_std_data_locations) apply(as_pool_reset_extra_data_locations)                    \
          apply(as_pool_add_extra_data_location) apply(as_pool_get_components_by_id)                          \
              apply(as_pool_get_components_by_launchable) apply(as_component_get_name)                        \
                  apply(as_component_get_developer_name) apply(as_component_get_url)                          \
                      apply(as_component_get_categories) apply(as_component_get_kind) apply(as_metadata_new)  \
                          apply(as_metadata_set_locale) apply(as_metadata_parse_desktop_data)                 \
                              apply(as_metadata_get_component) apply(g_object_unref) apply(g_ptr_array_unref) \
                                  apply(g_error_free)

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared
#define ZV_DECLARE(function) decltype(&::function) function = nullptr;
  ZV_APPSTREAM_FUNCTIONS(ZV_DECLARE)
#undef ZV_DECLARE

 private:
  friend LibraryOnDemand<AppStreamLibrary>;
  static constexpr const char* libraryFile = "libappstream.so.4";
  static constexpr const char* lossWithoutIt = "the software catalogue can't be read";

  AppStreamLibrary() = default;
  bool resolveAll(void* library);
};
