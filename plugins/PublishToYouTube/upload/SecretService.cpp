#include "plugins/PublishToYouTube/upload/SecretService.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/DesktopFolders.h"

#define SECRET_API_SUBJECT_TO_CHANGE  // to look without unlocking
#include <libsecret/secret.h>

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

constexpr double busTime = 5;  // seconds until a session bus counts as one that isn't there

/// Whether there is a session bus to ask on, and makes it ready for that. `cancellable` ends the wait for it.
bool prepareSessionBus(GCancellable* cancellable) {
  if (sessionBusAddress().empty()) return false;
  const std::shared_ptr<GCancellable> limit(g_cancellable_new(), g_object_unref);
  dispatch_after(busTime, dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [limit] { g_cancellable_cancel(limit.get()); });
  const gulong connection = g_cancellable_connect(
      cancellable, G_CALLBACK(+[](GCancellable*, gpointer inner) { g_cancellable_cancel(G_CANCELLABLE(inner)); }),
      limit.get(), nullptr);
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, limit.get(), nullptr);
  g_cancellable_disconnect(cancellable, connection);
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
                           (error->domain == G_IO_ERROR && error->code != G_IO_ERROR_CANCELLED &&
                            error->code != G_IO_ERROR_TIMED_OUT);  // there, and slow: it may still do it
  g_error_free(error);
  return unavailable ? SecretService::Outcome::Unavailable : SecretService::Outcome::Refused;
}

}  // namespace

struct SecretService::Impl {
  const std::shared_ptr<GCancellable> lookUps{g_cancellable_new(), g_object_unref};
  const std::shared_ptr<GCancellable> changes{g_cancellable_new(), g_object_unref};
};

SecretService::SecretService() : impl_(std::make_unique<Impl>()) {}
SecretService::~SecretService() = default;

void SecretService::cancelLookUps() {
  g_cancellable_cancel(impl_->lookUps.get());
}

void SecretService::cancelAll() {
  cancelLookUps();
  g_cancellable_cancel(impl_->changes.get());
}

SecretService::Outcome SecretService::lookUp(const std::string& client, const std::string& server,
                                             std::string* secret) {
  if (!prepareSessionBus(impl_->lookUps.get())) return Outcome::Unavailable;
  GError* error = nullptr;
  gchar* found = secret_password_lookup_sync(schema(), impl_->lookUps.get(), &error, "client", client.c_str(), "server",
                                             server.c_str(), nullptr);
  if (error) return outcomeOf(error);
  if (!found) return Outcome::NoSecret;
  *secret = found;
  secret_password_free(found);
  return Outcome::Done;
}

SecretService::Outcome SecretService::find(const std::string& client, const std::string& server) {
  if (!prepareSessionBus(impl_->lookUps.get())) return Outcome::Unavailable;
  const std::unique_ptr<GHashTable, decltype(&g_hash_table_unref)> attributes(
      secret_attributes_build(schema(), "client", client.c_str(), "server", server.c_str(), nullptr),
      g_hash_table_unref);
  GError* error = nullptr;
  const std::unique_ptr<::SecretService, decltype(&g_object_unref)> service(
      secret_service_get_sync(SECRET_SERVICE_NONE, impl_->lookUps.get(), &error), g_object_unref);
  if (error) return outcomeOf(error);
  gchar** unlocked = nullptr;
  gchar** locked = nullptr;
  secret_service_search_for_dbus_paths_sync(service.get(), schema(), attributes.get(), impl_->lookUps.get(), &unlocked,
                                            &locked, &error);
  if (error) return outcomeOf(error);
  const bool isThere = (unlocked && *unlocked) || (locked && *locked);
  g_strfreev(unlocked);
  g_strfreev(locked);
  return isThere ? Outcome::Done : Outcome::NoSecret;
}

SecretService::Outcome SecretService::store(const std::string& client, const std::string& server,
                                            const std::string& secret) {
  if (!prepareSessionBus(impl_->changes.get())) return Outcome::Unavailable;
  GError* error = nullptr;
  secret_password_store_sync(schema(), SECRET_COLLECTION_DEFAULT, "Zevanti: publishing videos", secret.c_str(),
                             impl_->changes.get(), &error, "client", client.c_str(), "server", server.c_str(), nullptr);
  return error ? outcomeOf(error) : Outcome::Done;
}

SecretService::Outcome SecretService::clear(const std::string& client, const std::string& server) {
  if (!prepareSessionBus(impl_->changes.get())) return Outcome::Unavailable;
  GError* error = nullptr;
  secret_password_clear_sync(schema(), impl_->changes.get(), &error, "client", client.c_str(), "server", server.c_str(),
                             nullptr);
  return error ? outcomeOf(error) : Outcome::Done;
}

}  // namespace publishing
