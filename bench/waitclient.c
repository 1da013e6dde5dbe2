/* waitclient: the least a process can do to wait for its tab the way `cvdiff -w LEFT RIGHT` does:
 * connect, subscribe to CVCloseTabNotification, one GUIDForDocumentWithCVDiffInvocation call asking
 * to wait, then wait for the notification naming the returned document and exit. It skips
 * everything cvdiff does besides (caller walk, application search, bookmarks, the sender check,
 * the presence poll), so cvdiff's time over this one's is cvdiff's own.
 * usage: waitclient LEFT RIGHT   (needs DBUS_SESSION_BUS_ADDRESS)
 * build: gcc -O2 -o waitclient waitclient.c $(pkg-config --cflags --libs libsystemd) */
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <systemd/sd-bus.h>

#define CHECK(x) do { int r_ = (x); if (r_ < 0) { fprintf(stderr, "%s: %s\n", #x, strerror(-r_)); return 2; } } while (0)

static int nil(sd_bus_message *m) { return sd_bus_message_append(m, "v", "g", ""); }

static int file(sd_bus_message *m, const char *path) {
  int r;
  if ((r = sd_bus_message_open_container(m, 'v', "(sav)")) < 0) return r;
  if ((r = sd_bus_message_open_container(m, 'r', "sav")) < 0) return r;
  if ((r = sd_bus_message_append(m, "s", "CVCLISerializedFile")) < 0) return r;
  if ((r = sd_bus_message_open_container(m, 'a', "v")) < 0) return r;
  if ((r = sd_bus_message_append(m, "v", "s", path)) < 0) return r;
  if ((r = nil(m)) < 0 || (r = nil(m)) < 0 || (r = nil(m)) < 0) return r;
  if ((r = sd_bus_message_close_container(m)) < 0) return r;
  if ((r = sd_bus_message_close_container(m)) < 0) return r;
  return sd_bus_message_close_container(m);
}

static char guid[128];
static int closed;

static int on_close(sd_bus_message *m, void *userdata, sd_bus_error *error) {
  const char *contents = NULL, *object = NULL;
  (void)userdata; (void)error;
  if (sd_bus_message_peek_type(m, NULL, &contents) > 0 && contents && strcmp(contents, "s") == 0 &&
      sd_bus_message_read(m, "v", "s", &object) >= 0 && strcmp(object, guid) == 0)
    closed = 1;
  return 0;
}

int main(int argc, char **argv) {
  if (argc != 3) { fprintf(stderr, "usage: waitclient LEFT RIGHT\n"); return 2; }
  sd_bus *bus = NULL; sd_bus_message *m = NULL, *reply = NULL; sd_bus_error err = SD_BUS_ERROR_NULL;
  CHECK(sd_bus_open_user(&bus));
  CHECK(sd_bus_add_match(bus, NULL, "type='signal',interface='com.corvane.Corvane.DistributedNotifications',"
                         "member='CVCloseTabNotification'", on_close, NULL));
  CHECK(sd_bus_message_new_method_call(bus, &m, "com.corvane.Corvane.distributed-objects.cvdiff",
        "/com/corvane/Corvane/cvdiff", "com.corvane.Corvane.CVCLIProxyProtocol", "GUIDForDocumentWithCVDiffInvocation"));
  CHECK(sd_bus_message_open_container(m, 'v', "(sav)"));
  CHECK(sd_bus_message_open_container(m, 'r', "sav"));
  CHECK(sd_bus_message_append(m, "s", "CVCLISerializedDiffInvocation"));
  CHECK(sd_bus_message_open_container(m, 'a', "v"));
  CHECK(sd_bus_message_open_container(m, 'v', "(sav)"));
  CHECK(sd_bus_message_open_container(m, 'r', "sav"));
  CHECK(sd_bus_message_append(m, "s", "CVCLISerializedFileList"));
  CHECK(sd_bus_message_open_container(m, 'a', "v"));
  CHECK(sd_bus_message_open_container(m, 'v', "av"));
  CHECK(sd_bus_message_open_container(m, 'a', "v"));
  CHECK(file(m, argv[1]));
  CHECK(file(m, argv[2]));
  CHECK(sd_bus_message_close_container(m));
  CHECK(sd_bus_message_close_container(m));
  CHECK(sd_bus_message_append(m, "v", "x", (int64_t)0));
  CHECK(nil(m)); CHECK(nil(m));
  CHECK(sd_bus_message_close_container(m));
  CHECK(sd_bus_message_close_container(m));
  CHECK(sd_bus_message_close_container(m));
  for (int i = 0; i < 4; i++) CHECK(nil(m));
  CHECK(sd_bus_message_append(m, "v", "b", 1));
  CHECK(sd_bus_message_append(m, "v", "i", (int32_t)getppid()));
  CHECK(sd_bus_message_append(m, "v", "s", "bash"));
  CHECK(sd_bus_message_close_container(m));
  CHECK(sd_bus_message_close_container(m));
  CHECK(sd_bus_message_close_container(m));
  int r = sd_bus_call(bus, m, 0, &err, &reply);
  if (r < 0) { fprintf(stderr, "call: %s\n", err.message ? err.message : strerror(-r)); return 1; }
  const char *text = NULL;
  CHECK(sd_bus_message_read(reply, "v", "s", &text));
  snprintf(guid, sizeof guid, "%s", text);
  while (!closed) {
    r = sd_bus_process(bus, NULL);
    if (r < 0) return 1;
    if (r == 0 && !closed) CHECK(sd_bus_wait(bus, UINT64_MAX));
  }
  sd_bus_message_unref(reply); sd_bus_message_unref(m); sd_bus_flush_close_unref(bus);
  return 0;
}
