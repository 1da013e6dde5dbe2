/* closetab-ratio: how soon a waiting client exits once its tab is closed, for two commands,
 * interleaved. Each round starts the command (which must open one document and wait for its tab),
 * finds the new document through Corvane's control interface, and times from sending CloseTab
 * there (Corvane posts CVCloseTabNotification as it closes the tab) to the command's exit. The
 * application's and the bus's share is the same for both commands. Prints both medians and the
 * median per-round ratio B/A.
 * usage: closetab-ratio ROUNDS COMMAND_A... :: COMMAND_B...   (needs DBUS_SESSION_BUS_ADDRESS)
 * build: gcc -O2 -o closetab-ratio closetab-ratio.c $(pkg-config --cflags --libs libsystemd) */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <systemd/sd-bus.h>

extern char **environ;

static double now_us(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec * 1e6 + t.tv_nsec / 1e3;
}

static char target[128];

/* Corvane's ListDocuments (to be freed), or NULL. The JSON comes in a sealed memory file. */
static char *list_documents(sd_bus *bus) {
  sd_bus_message *reply = NULL;
  int descriptor = -1;
  char *copy = NULL;
  struct stat status;
  if (sd_bus_call_method(bus, "com.corvane.Corvane", "/com/corvane/Corvane/control", "com.corvane.Corvane.Control",
                         "ListDocuments", NULL, &reply, "") >= 0 && sd_bus_message_read(reply, "h", &descriptor) >= 0 &&
      fstat(descriptor, &status) == 0 && (copy = calloc(1, status.st_size + 1)) != NULL &&
      pread(descriptor, copy, status.st_size, 0) != status.st_size) {
    free(copy);
    copy = NULL;
  }
  sd_bus_message_unref(reply);
  return copy;
}

/* A document listed now that `before` did not list, into `out`; 0 when there is none. */
static int new_document(sd_bus *bus, const char *before, char *out, size_t size) {
  char *json = list_documents(bus);
  int found = 0;
  for (const char *at = json ? strstr(json, "\"GUID\":\"") : NULL; at && !found; at = strstr(at + 1, "\"GUID\":\"")) {
    size_t length = strcspn(at + 8, "\"");
    if (length + 1 < size) {
      memcpy(out, at + 8, length);
      out[length] = 0;
      found = strstr(before, out) == NULL;
    }
  }
  free(json);
  return found;
}

/* One round of one command: the latency in microseconds, or a negative number on failure. */
static double one_round(sd_bus *bus, char **command) {
  char *before = list_documents(bus);
  if (!before) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t child;
  if (posix_spawn(&child, command[0], &actions, NULL, command, environ) != 0) return -1;
  posix_spawn_file_actions_destroy(&actions);
  double deadline = now_us() + 10e6;
  while (!new_document(bus, before, target, sizeof target)) {
    if (now_us() > deadline) { kill(child, SIGKILL); waitpid(child, NULL, 0); free(before); return -1; }
    usleep(500);
  }
  free(before);
  /* The command has its document's identifier once the document is listed; give it the moment
   * its reply takes to arrive. */
  usleep(20000);
  double start = now_us();
  if (sd_bus_call_method_async(bus, NULL, "com.corvane.Corvane", "/com/corvane/Corvane/control",
                               "com.corvane.Corvane.Control", "CloseTab", NULL, NULL, "s", target) < 0 ||
      sd_bus_flush(bus) < 0)
    return -1;
  int status = 0;
  waitpid(child, &status, 0);
  double latency = now_us() - start;
  while (sd_bus_process(bus, NULL) > 0) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? latency : -1;
}

static int compare(const void *a, const void *b) {
  double x = *(const double *)a, y = *(const double *)b;
  return (x > y) - (x < y);
}

int main(int argc, char **argv) {
  int split = 0;
  for (int i = 2; i < argc; i++) if (strcmp(argv[i], "::") == 0) split = i;
  if (argc < 5 || split < 3 || split == argc - 1) {
    fprintf(stderr, "usage: closetab-ratio ROUNDS COMMAND_A... :: COMMAND_B...\n");
    return 2;
  }
  int rounds = atoi(argv[1]);
  argv[split] = NULL;
  char **a = argv + 2, **b = argv + split + 1;
  sd_bus *bus = NULL;
  if (sd_bus_open_user(&bus) < 0) { fprintf(stderr, "no session bus\n"); return 1; }
  double *la = calloc(rounds, sizeof *la), *lb = calloc(rounds, sizeof *lb), *ratio = calloc(rounds, sizeof *ratio);
  for (int round = 0; round < rounds; round++) {
    la[round] = one_round(bus, a);
    lb[round] = one_round(bus, b);
    if (la[round] < 0 || lb[round] < 0) { fprintf(stderr, "round %d failed\n", round); return 1; }
    ratio[round] = lb[round] / la[round];
  }
  qsort(la, rounds, sizeof *la, compare);
  qsort(lb, rounds, sizeof *lb, compare);
  qsort(ratio, rounds, sizeof *ratio, compare);
  printf("A %s: median %.0f us\nB %s: median %.0f us\nratio B/A median %.2f (%d interleaved rounds)\n",
         a[0], la[rounds / 2], b[0], lb[rounds / 2], ratio[rounds / 2], rounds);
  sd_bus_flush_close_unref(bus);
  return 0;
}
