#include "plugins/PublishToYouTube/upload/SecretService.h"

#include <cstdlib>

#include <libsecret/secret.h>
#include <sys/stat.h>

namespace publishing {

namespace {

const SecretSchema* schema() {
  static const SecretSchema schema = [] {
    SecretSchema made{};
    made.name = "zevanti.Publishing";
    made.flags = SECRET_SCHEMA_NONE;
    made.attributes[0] = {"client", SECRET_SCHEMA_ATTRIBUTE_STRING};
    made.attributes[1] = {"server", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return made;
  }();
  return &schema;
}

/// Whether there is a session bus to ask on, and makes it ready for that. Asking without one would start one, which
/// nobody would end.
bool prepareSessionBus() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  struct stat status {};
  if (address ? !*address : !runtime || stat((std::string(runtime) + "/bus").c_str(), &status) != 0) return false;
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (!bus) return false;
  g_dbus_connection_set_exit_on_close(bus, FALSE);  // the end of the bus is not to be that of the program
  g_object_unref(bus);
  secret_service_disconnect();  // what libsecret knows of the store may be out of date: it may have been started anew
  return true;
}

SecretService::Outcome outcomeOf(GError* error) {
  const bool unavailable = g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
                           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) ||
                           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND) ||
                           g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_UNKNOWN_METHOD) ||
                           (error->domain == G_IO_ERROR && error->code != G_IO_ERROR_CANCELLED);
  g_error_free(error);
  return unavailable ? SecretService::Outcome::Unavailable : SecretService::Outcome::Refused;
}

}  // namespace

struct SecretService::Impl {
  GCancellable* cancellable = g_cancellable_new();
  ~Impl() { g_object_unref(cancellable); }
};

SecretService::SecretService() : impl_(std::make_unique<Impl>()) {}
SecretService::~SecretService() = default;

void SecretService::cancelLookUps() {
  g_cancellable_cancel(impl_->cancellable);
}

SecretService::Outcome SecretService::lookUp(const std::string& client, const std::string& server,
                                             std::string* secret) {
  if (!prepareSessionBus()) return Outcome::Unavailable;
  GError* error = nullptr;
  gchar* found = secret_password_lookup_sync(schema(), impl_->cancellable, &error, "client", client.c_str(), "server",
                                             server.c_str(), nullptr);
  if (error) return outcomeOf(error);
  if (!found) return Outcome::NoSecret;
  *secret = found;
  secret_password_free(found);
  return Outcome::Done;
}

SecretService::Outcome SecretService::store(const std::string& client, const std::string& server,
                                            const std::string& secret) {
  if (!prepareSessionBus()) return Outcome::Unavailable;
  GError* error = nullptr;
  secret_password_store_sync(schema(), SECRET_COLLECTION_DEFAULT, "Zevanti: publishing videos", secret.c_str(), nullptr,
                             &error, "client", client.c_str(), "server", server.c_str(), nullptr);
  return error ? outcomeOf(error) : Outcome::Done;
}

SecretService::Outcome SecretService::clear(const std::string& client, const std::string& server) {
  if (!prepareSessionBus()) return Outcome::Unavailable;
  GError* error = nullptr;
  secret_password_clear_sync(schema(), nullptr, &error, "client", client.c_str(), "server", server.c_str(), nullptr);
  return error ? outcomeOf(error) : Outcome::Done;
}

}  // namespace publishing
