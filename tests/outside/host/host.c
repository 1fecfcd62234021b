/* The smallest engine: one event of each kind ten times a second, until SIGTERM. */
#include <corvalux/host.h>
#include <dlfcn.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

struct CorvaluxKeyValueList {
  const char* key;
};

struct CorvaluxCallback {
  EngineCallback callback;
  void* user;
  const char* key;
};

static struct CorvaluxCallback callbacks[3] = {{.key = "slow"}, {.key = "fast"}, {.key = "change"}};
static const char* serverUrl;

void corvalux_log(int32_t level, const char* file, int32_t line, int32_t flag, const char* format, ...) {
  va_list arguments;
  (void)flag;
  if (level < 3) return;
  va_start(arguments, format);
  fprintf(stderr, "%s:%d: ", file, line);
  vfprintf(stderr, format, arguments);
  fputc('\n', stderr);
  va_end(arguments);
}

int32_t corvalux_keyValueListGetI(KeyValueList list, const char* key, int32_t* out) {
  (void)list, (void)key, (void)out;
  return -1;
}

int32_t corvalux_keyValueListGetS(KeyValueList list, const char* key, const char** out) {
  (void)list;
  if (strcmp(key, "serverUrl") != 0) return -1;
  *out = serverUrl;
  return 0;
}

int32_t corvalux_keyValueListForEach(KeyValueList list, KeyValueVisitor visitor, void* user) {
  const KeyValueEntry entry = {.key = list->key, .type = KEY_VALUE_FLOAT, .value.floatValue = -6.0F};
  return visitor(&entry, user);
}

static CallbackHandle registered(CallbackHandle handle, EngineCallback callback, void* user) {
  handle->callback = callback;
  handle->user = user;
  return handle;
}

CallbackHandle corvalux_engine_addCallbackMeterManager(EngineHandle engine, int32_t fast, EngineCallback callback,
                                                       void* user) {
  (void)engine;
  return registered(&callbacks[fast], callback, user);
}

CallbackHandle corvalux_engine_notify_changes_addCallback(EngineHandle engine, EngineCallback callback, void* user) {
  (void)engine;
  return registered(&callbacks[2], callback, user);
}

/* Events come from this program's one thread, so none is running when a registration is removed. */
void corvalux_engine_rmCallbackMeterManager(EngineHandle engine, CallbackHandle handle) {
  (void)engine;
  handle->callback = NULL;
}

void corvalux_engine_notify_changes_rmCallback(EngineHandle engine, CallbackHandle handle) {
  corvalux_engine_rmCallbackMeterManager(engine, handle);
}

static void play(const sigset_t* ends) {
  const struct timespec pause = {.tv_nsec = 100 * 1000 * 1000};
  while (sigtimedwait(ends, NULL, &pause) < 0) {
    for (int i = 0; i < 3; ++i) {
      const struct CorvaluxKeyValueList list = {callbacks[i].key};
      callbacks[i].callback(&list, callbacks[i].user);
    }
  }
}

int main(int argc, char** argv) {
  static int engine;
  const struct CorvaluxKeyValueList config = {NULL};
  HostModuleRecord record = {.name = "outside", .engine = (EngineHandle)&engine};
  sigset_t ends;
  if (argc != 3) return 2;
  serverUrl = argv[2];
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigprocmask(SIG_BLOCK, &ends, NULL);
  void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  const PluginEntry* entry = module ? dlsym(module, "plugin_entry_0_6") : NULL;
  if (!entry) return fprintf(stderr, "outside host: %s\n", dlerror()), 1;
  if (entry->startCycle(&record, &config) != 0) return 1;
  play(&ends);
  entry->stopCycle(&record);
  return record.moduleSlot ? 1 : dlclose(module);
}
