/// The binary interface between the corvalux engine and a module that it loads.
///
/// Valid C11 and C++20. The engine defines the functions below and exports them by their plain names; the module
/// imports them when it is loaded. The module exports two data symbols (see PluginEntry) and nothing else.
///
/// Thread tags, used throughout:
///   [host-thread]    the thread that starts and stops the module. For one record never two such calls at a time.
///   [engine-thread]  a thread of the engine that delivers an event; any number of them. It must never be blocked.
///   [any-thread]     every thread, the network library's own included, and several at once.
///
/// What the module does not check, and the engine must guarantee:
///   - every text is non-null and ends with NUL; bytes that are not UTF-8 are passed on as they come;
///   - every array pointer covers `count` elements, and `count` is below 2^31;
///   - a meter callback is never run twice at a time for one registration (fast and slow may overlap, and so may
///     change callbacks, even with themselves);
///   - removing a callback returns only when no call of it is running any more: the module frees `user` right after.
///
/// Exceptions. startCycle and stopCycle raise none. A callback, and the visitor that it hands to
/// corvalux_keyValueListForEach, raise a C++ exception when memory runs out or a mutex cannot be locked; that event is
/// lost. An engine in C++ catches it around its call of the callback. An engine in C cannot: unless a C++ caller above
/// it catches, the exception ends the process (std::terminate). To survive it, such an engine calls callbacks through a
/// function in C++ that catches. Its own functions in between do not run to their end then:
/// corvalux_keyValueListForEach must hold no lock while it calls the visitor, and needs unwind tables (the default of
/// GCC and Clang on 64-bit Linux; -fexceptions asks for them), else the process ends there, too.
#ifndef CORVALUX_HOST_H
#define CORVALUX_HOST_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// An engine. Belongs to the host, outlives every module instance started with it.
typedef struct CorvaluxEngine* EngineHandle;

/// A host list of named values. Belongs to the host; valid during the call that hands it over.
typedef const struct CorvaluxKeyValueList* KeyValueList;

/// One registration of a callback; null only as the answer of one that failed. Belongs to the host; invalid once
/// removed.
typedef struct CorvaluxCallback* CallbackHandle;

/// What a KeyValueEntry holds. The field is a plain int32_t: an engine may send codes that this list does not have.
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

/// One named value of a list. Host-owned, valid only during the visitor call that receives it, never written to.
typedef struct KeyValueEntry {
  const char* key;    ///< NUL-terminated
  uint64_t hostWord;  ///< the host's own; modules do not read it
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
  void* hostWords[3];  ///< the host's own
  /// The module's: null when the host makes the record, set by start, null again after stop and after a failed start;
  /// only when an exception ended the start does it stay set until stop.
  void* moduleSlot;
} HostModuleRecord;

/// The descriptor of a module. The host reads it in place, so the layout is fixed.
typedef struct PluginEntry {
  const char* name;
  const void* unused1;  ///< null, like every `unused` word: an entry point that the module does not offer
  /// [host-thread] Brings an instance up. `config` may be null and dies when the call returns.
  /// Returns 0, or -1 when the instance did not start; the reason is in the log. Stop it also then: that frees what an
  /// exception may have left.
  int32_t (*startCycle)(HostModuleRecord* record, KeyValueList config);
  const void* unused3;
  /// [host-thread] Takes an instance down. Harmless after a failed start, and when called twice.
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

/// What a module defines and the host finds by name, and all that a module exports.
CORVALUX_EXPORT extern const PluginEntry plugin_entry_0_6;
CORVALUX_EXPORT extern const char* const plugin_entry_corvalux_module_version;  ///< NUL-terminated

/// Visits one entry of a list; returns 0.
typedef int32_t (*KeyValueVisitor)(const KeyValueEntry* entry, void* user);

/// [engine-thread] Receives an event. The list and all it points to die when the call returns.
typedef void (*EngineCallback)(KeyValueList values, void* user);

/// [any-thread] Writes a log line. `level`: 1 progress and detail, 2 lifecycle, 3 warning, 4 error. `flag` is 1. Must
/// work until the process ends: lines of streams may come after a stop, when a client has kept the server from ending.
/// `file` lives as long as the module; every other text dies when the call returns. The module may hold its locks: so
/// this must neither raise an event of the engine nor wait for one.
void corvalux_log(int32_t level, const char* file, int32_t line, int32_t flag, const char* format, ...)
    CORVALUX_PRINTF(5, 6);

/// [host-thread] Returns 0 and stores the value when `key` holds an integer; else non-zero, `*out` untouched.
int32_t corvalux_keyValueListGetI(KeyValueList list, const char* key, int32_t* out);

/// [host-thread] Returns 0 and stores a host-owned text; else non-zero, `*out` untouched. The module copies the text
/// before it builds the server, but after it has read all other keys: until then the text must stay valid. The end of
/// startCycle is always late enough.
int32_t corvalux_keyValueListGetS(KeyValueList list, const char* key, const char** out);

/// [engine-thread] Calls `visitor` for each entry in the list's order, on the calling thread. The result means nothing.
int32_t corvalux_keyValueListForEach(KeyValueList list, KeyValueVisitor visitor, void* user);

/// [host-thread] Registers for meter lists, on the fast (`fast` 1) or the slow (0) cadence. Returns null on failure.
/// The first call may come before this returns.
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
