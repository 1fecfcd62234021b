#include "sim/HostList.h"

#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <utility>

namespace sim {

namespace {

std::mutex liveMutex;
std::set<KeyValueList> liveLists;  // guarded by liveMutex

constexpr int poison = 0xDD;

}  // namespace

bool isLive(KeyValueList list) {
  const std::lock_guard lock(liveMutex);
  return liveLists.contains(list);
}

HostList::HostList(const KeyValues& values, std::function<void()> onVisit, int32_t walkResult) {
  list.onVisit = std::move(onVisit);
  list.walkResult = walkResult;
  list.entries.reserve(values.size());
  for (const NamedValue& named : values) list.entries.push_back(MakeEntry(named));
  const std::lock_guard lock(liveMutex);
  liveLists.insert(&list);
}

HostList::~HostList() {
  {
    const std::lock_guard lock(liveMutex);
    liveLists.erase(&list);
  }
  for (Block& block : blocks) std::memset(block.bytes.get(), poison, block.size);
  // memset must not get the null pointer of an empty list, even for 0 bytes.
  if (list.entries.empty()) return;
  std::memset(static_cast<void*>(list.entries.data()), poison, list.entries.size() * sizeof(KeyValueEntry));
}

const void* HostList::Keep(const void* bytes, std::size_t size) {
  if (size == 0) return nullptr;
  Block& block = blocks.emplace_back(Block{std::make_unique<std::byte[]>(size), size});
  std::memcpy(block.bytes.get(), bytes, size);
  return block.bytes.get();
}

KeyValueEntry HostList::MakeEntry(const NamedValue& named) {
  KeyValueEntry entry{};
  const auto keepText = [this](const std::string& text) {
    return static_cast<const char*>(Keep(text.c_str(), text.size() + 1));
  };
  const auto setArray = [&](int32_t type, const auto& values) {
    entry.type = type;
    entry.value.array = Keep(values.data(), values.size() * sizeof(values[0]));
    entry.count = values.size();
  };
  entry.key = keepText(named.key);
  entry.hostWord = 0xC0FFEE;  // modules must ignore it
  struct Visitor {
    KeyValueEntry& entry;
    const decltype(keepText)& keep;
    const decltype(setArray)& array;
    void operator()(uint32_t v) const { entry.type = KEY_VALUE_UINT, entry.value.uintValue = v; }
    void operator()(int32_t v) const { entry.type = KEY_VALUE_INT, entry.value.intValue = v; }
    void operator()(float v) const { entry.type = KEY_VALUE_FLOAT, entry.value.floatValue = v; }
    void operator()(double v) const { entry.type = KEY_VALUE_DOUBLE, entry.value.doubleValue = v; }
    void operator()(const std::string& v) const { entry.type = KEY_VALUE_TEXT, entry.value.text = keep(v); }
    void operator()(const std::vector<uint32_t>& v) const { array(KEY_VALUE_UINT_ARRAY, v); }
    void operator()(const std::vector<int32_t>& v) const { array(KEY_VALUE_INT_ARRAY, v); }
    void operator()(const std::vector<float>& v) const { array(KEY_VALUE_FLOAT_ARRAY, v); }
    void operator()(const UnknownKind& v) const {
      entry.type = v.type;
      std::memcpy(&entry.value, &v.bits, sizeof v.bits);
    }
  };
  std::visit(Visitor{entry, keepText, setArray}, named.value);
  return entry;
}

}  // namespace sim
