#pragma once

#include <optional>
#include <string>
#include <vector>

/// The machine's own software catalogue. Carried out by its back end.
namespace SSCatalogue {

/// One application; an empty text or list is not known.
struct Product {
  std::string name, developer, homepage;
  std::vector<std::string> categories;
};

/// Whether there is a catalogue at all. Reads nothing.
bool isAvailable();

/// Reads what is known of the applications that are installed, so that the first question finds it read.
void prepare();

/// The application with that identifier, or nothing. The first call, and the first for an application that is not
/// installed, read the catalogue, which may take seconds. Call it on one thread at a time, never on the main queue;
/// that goes for `prepare` as well.
std::optional<Product> find(const std::string& identifier);

}  // namespace SSCatalogue
