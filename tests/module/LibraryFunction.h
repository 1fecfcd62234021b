#pragma once

#include <cstdint>
#include <cstring>

namespace test {

/// The function that the loader would take for `own` if this program did not define it. The loader is asked for the
/// name under which it knows `own`, so nothing here depends on how a release of a library spells its functions.
void* libraryFunctionBehind(const void* own);

/// The library's own version of a function that this program defines, too.
template <typename Result, typename... Arguments>
auto libraryFunction(Result (*own)(Arguments...)) {
  using Function = Result(Arguments...);
  return reinterpret_cast<Function*>(libraryFunctionBehind(reinterpret_cast<const void*>(own)));
}

/// Where a member function of `object` begins. A member pointer's first word is its address; for a virtual one it is
/// its place in the object's table, which is marked in the first word, or on Arm in the second.
template <typename Class, typename Member>
const void* codeOf(const Class* object, Member member) {
  std::uintptr_t words[2];
  static_assert(sizeof words == sizeof member);
  std::memcpy(words, &member, sizeof words);
#ifdef __aarch64__
  const std::uintptr_t mark = 0;
  const bool isVirtual = (words[1] & 1U) != 0;
#else
  const std::uintptr_t mark = 1;
  const bool isVirtual = (words[0] & 1U) != 0;
#endif
  const void* code = nullptr;
  const void* place = words;
  if (isVirtual) place = *reinterpret_cast<const char* const*>(object) + (words[0] - mark);
  std::memcpy(&code, place, sizeof code);
  return code;
}

/// The same for a member function: the result takes the object first.
template <typename Class, typename Result, typename... Arguments>
auto libraryFunction(Result (Class::*own)(Arguments...), const Class* object) {
  using Function = Result(Class*, Arguments...);
  return reinterpret_cast<Function*>(libraryFunctionBehind(codeOf(object, own)));
}

}  // namespace test
