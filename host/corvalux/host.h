/// The binary interface between the corvalux engine and a module that it loads.
///
/// Valid C11 and C++20. The engine defines the functions below and exports them by their plain names; the module
/// imports them when it is loaded. The module exports two data symbols (see PluginEntry) and nothing else.
///
/// Thread tags, used throughout:
///   [host-thread]    the thread that starts and stops the module. Calls for one record never overlap.
///   [engine-thread]  a thread of the engine that delivers an event; any number of them. It must never be blocked.
///   [any-thread]     any thread, the network library's included; calls may overlap.
///
/// What the module does not check, and the engine must guarantee:
///   - every text is non-null and ends with NUL; bytes that are not UTF-8 are passed on as they come;
///   - every array pointer covers `count` elements, and `count` is below 2^31;
///   - the callback of one meter registration never runs concurrently with itself (fast and slow may overlap; change
///     callbacks may overlap even with themselves);
///   - removing a callback returns only when no call of it is running: the module frees `user` right after.
///
/// Exceptions. startCycle and stopCycle do not throw. A callback, and the visitor that it passes to
/// corvalux_keyValueListForEach, throw a C++ exception when memory runs out or a mutex cannot be locked; that event is
/// lost. An engine in C++ catches it around its call of the callback. An engine in C cannot: unless a C++ caller above
/// it catches, the exception ends the process (std::terminate). To survive it, such an engine calls callbacks through a
/// C++ function that catches. The exception then unwinds the engine's functions in between:
/// corvalux_keyValueListForEach must hold no lock while it calls the visitor, and needs unwind tables (the default of
/// GCC and Clang on 64-bit Linux; otherwise -fexceptions), or the process ends there as well.
#ifndef CORVALUX_HOST_H
#define CORVALUX_HOST_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// An engine. Owned by the host; outlives every module instance started with it.
typedef struct CorvaluxEngine* EngineHandle;

/// A host list of named values. Owned by the host; valid only during the call that passes it.
typedef const struct CorvaluxKeyValueList* KeyValueList;

/// A registered callback; null only if the registration failed. Owned by the host; invalid once removed.
typedef struct CorvaluxCallback* CallbackHandle;

/// The kind of value in a KeyValueEntry. The field is a plain int32_t: an engine may send other codes, too.
enum KeyValueType {
  KEY_VALUE_UINT = 0,
  KEY_VALUE_INT = 1,
  KEY_VALUE_FLOAT = 2,
  KEY_VALUE_TEXT = 3,
  KEY_VALUE_UINT_ARRAY = 4,
  KEY_VALUE_INT_ARRAY = 5,
  KEY_VALUE_FLOAT_ARRAY = 6,
  KEY_VALUE_DOUBLE = 7
};

/// One named value of a list. Host-owned, read-only, valid only during the visitor call that receives it.
typedef struct KeyValueEntry {
  const char* key;    ///< NUL-terminated
  uint64_t hostWord;  ///< reserved for the host; modules do not read it
  int32_t type;       ///< a KeyValueType, or a code that is newer than the module
  union {
    uint32_t uintValue;
    int32_t intValue;
    float floatValue;
    double doubleValue;
    const char* text;   ///< NUL-terminated
    const void* array;  ///< first of `count` elements of 4 bytes each; may be null when `count` is 0
  } value;
  uint64_t count;  ///< elements, arrays only; below 2^31
} KeyValueEntry;

/// The host's record of one module instance.
typedef struct HostModuleRecord {
  char name[40];  ///< the instance's name, NUL-terminated
  EngineHandle engine;
  void* hostWords[3];  ///< reserved for the host
  /// For the module: null when the host creates the record, set by start, null again after stop or a failed start.
  /// After a start that failed with an exception it stays set until stop.
  void* moduleSlot;
} HostModuleRecord;

/// The descriptor of a module. The host reads it in place, so the layout is fixed.
typedef struct PluginEntry {
  const char* name;
  const void* unused1;  ///< null, like every `unused` word: an entry point that the module does not offer
  /// [host-thread] Starts an instance. `config` may be null, and is valid only during the call. Returns 0, or -1 if the
  /// instance did not start; the log has the reason. Call stopCycle then, too: it frees what an exception may have
  /// left.
  int32_t (*startCycle)(HostModuleRecord* record, KeyValueList config);
  const void* unused3;
  /// [host-thread] Stops an instance. May be called after a failed start, and more than once.
  void (*stopCycle)(HostModuleRecord* record);
  const void* unused5;
  const void* unused6;
  uint64_t word7;  ///< 1
} PluginEntry;

#ifdef __GNUC__
#define CORVALUX_EXPORT __attribute__((visibility("default")))
#define CORVALUX_PRINTF(formatIndex, firstIndex) __attribute__((format(printf, formatIndex, firstIndex)))
#else
#define CORVALUX_EXPORT
#define CORVALUX_PRINTF(formatIndex, firstIndex)
#endif

/// The two symbols that the host finds by name. A module defines them and exports nothing else.
CORVALUX_EXPORT extern const PluginEntry plugin_entry_0_6;
CORVALUX_EXPORT extern const char* const plugin_entry_corvalux_module_version;  ///< NUL-terminated

/// Visits one entry of a list; returns 0.
typedef int32_t (*KeyValueVisitor)(const KeyValueEntry* entry, void* user);

/// [engine-thread] Receives an event. The list and all it points to are valid only during the call.
typedef void (*EngineCallback)(KeyValueList values, void* user);

/// [any-thread] Writes a log line. `level`: 1 progress and detail, 2 lifecycle, 3 warning, 4 error. `flag` is 1. Must
/// work until the process ends: streams may log after a stop if a client has kept the server from finishing. `file` is
/// valid for the module's lifetime, every other text only during the call. The module may hold locks during the call,
/// so this must neither deliver an event nor wait for one.
void corvalux_log(int32_t level, const char* file, int32_t line, int32_t flag, const char* format, ...)
    CORVALUX_PRINTF(5, 6);

/// [host-thread] Returns 0 and stores the value when `key` holds an integer; else non-zero, `*out` untouched.
int32_t corvalux_keyValueListGetI(KeyValueList list, const char* key, int32_t* out);

/// [host-thread] Returns 0 and stores a host-owned text; else non-zero, `*out` untouched. The module copies the text
/// after it has read all other keys and before it builds the server. The text must stay valid until then; keeping
/// it until startCycle returns is always enough.
int32_t corvalux_keyValueListGetS(KeyValueList list, const char* key, const char** out);

/// [engine-thread] Calls `visitor` for each entry in the list's order, on the calling thread. The result is ignored.
int32_t corvalux_keyValueListForEach(KeyValueList list, KeyValueVisitor visitor, void* user);

/// [host-thread] Registers for meter lists, on the fast (`fast` 1) or the slow (0) cadence. Returns null on failure.
/// The callback may be called before this returns.
CallbackHandle corvalux_engine_addCallbackMeterManager(EngineHandle engine, int32_t fast, EngineCallback callback,
                                                       void* user);

/// [host-thread] Removes a meter registration. Returns when no call of its callback is running and none will follow.
void corvalux_engine_rmCallbackMeterManager(EngineHandle engine, CallbackHandle handle);

/// [host-thread] Registers for lists of changed values. Returns null on failure.
CallbackHandle corvalux_engine_notify_changes_addCallback(EngineHandle engine, EngineCallback callback, void* user);

/// [host-thread] Removes a change registration; waits as corvalux_engine_rmCallbackMeterManager does.
void corvalux_engine_notify_changes_rmCallback(EngineHandle engine, CallbackHandle handle);

static_assert(sizeof(void*) == 8, "the interface is defined for 64-bit machines");
static_assert(offsetof(KeyValueEntry, key) == 0, "KeyValueEntry layout");
static_assert(offsetof(KeyValueEntry, hostWord) == 8, "KeyValueEntry layout");
static_assert(offsetof(KeyValueEntry, type) == 16, "KeyValueEntry layout");
static_assert(offsetof(KeyValueEntry, value) == 24, "KeyValueEntry layout");
static_assert(offsetof(KeyValueEntry, count) == 32, "KeyValueEntry layout");
static_assert(sizeof(KeyValueEntry) == 40, "KeyValueEntry layout");
static_assert(offsetof(HostModuleRecord, name) == 0, "HostModuleRecord layout");
static_assert(offsetof(HostModuleRecord, engine) == 40, "HostModuleRecord layout");
static_assert(offsetof(HostModuleRecord, moduleSlot) == 72, "HostModuleRecord layout");
static_assert(offsetof(PluginEntry, name) == 0, "PluginEntry layout");
static_assert(offsetof(PluginEntry, startCycle) == 16, "PluginEntry layout");
static_assert(offsetof(PluginEntry, stopCycle) == 32, "PluginEntry layout");
static_assert(offsetof(PluginEntry, word7) == 56, "PluginEntry layout");
static_assert(sizeof(PluginEntry) == 64, "PluginEntry layout");

#ifdef __cplusplus
}
#endif

#endif
