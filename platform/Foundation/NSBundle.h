#pragma once

#include "platform/Foundation/ObjCRuntime.h"

#include <map>
#include <memory>
#include <string>

/// The key of a bundle's name in its property list.
inline constexpr const char* kCFBundleNameKey = "CFBundleName";

/// A folder with a property list and resources.
class NSBundle {
 public:
  /// The extension's own bundle: the `.appex` folder that the running program belongs to.
  static std::shared_ptr<NSBundle> mainBundle();
  /// The bundle that a class came from; the main bundle for the program's own classes.
  static std::shared_ptr<NSBundle> bundleForClass(Class cls);
  /// The bundle at a path, or null when there is no property list.
  static std::shared_ptr<NSBundle> bundleWithPath(const std::string& path);
  /// A loaded bundle by its CFBundleIdentifier, else one of the system's frameworks or plug-ins, or null. Any thread.
  static std::shared_ptr<NSBundle> bundleWithIdentifier(const std::string& identifier);

  const std::string& bundlePath() const { return path_; }
  const std::string& bundleIdentifier() const { return identifier_; }

  /// A text entry of the property list; nested keys are joined with a dot: "NSExtension.NSExtensionPrincipalClass".
  /// Empty when missing.
  std::string infoString(const std::string& dottedKey) const;
  /// All text entries of the property list, by such keys.
  const std::map<std::string, std::string>& infoDictionary() const { return info_; }
  /// The entries of the property list that are there in the person's language, or English (table "InfoPlist").
  std::map<std::string, std::string> localizedInfoDictionary() const;

  /// The path of a resource file, looked for in `<language>.lproj`, `en.lproj` and the bundle itself, or empty.
  std::string pathForResource(const std::string& fileName) const;

  /// The text for `key` in `table` (default "Localizable"), in the person's language. A missing key gives `value`, or
  /// the key itself when `value` is empty.
  std::string localizedStringForKey_value_table(const std::string& key, const std::string& value,
                                                const std::string& table) const;

 private:
  const std::map<std::string, std::string>& table(const std::string& name) const;

  std::string path_;
  std::string identifier_;
  std::map<std::string, std::string> info_;
  mutable std::map<std::string, std::map<std::string, std::string>> tables_;
};
