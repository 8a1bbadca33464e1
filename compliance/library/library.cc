// Opening the library and finding its functions.
#include "compliance/library/library.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>

#include <atomic>
#include <memory>

namespace compliance {
namespace {

/// In memory that parent and children share; each holds the address of a constant text, the same in all of them.
std::atomic<const char *> *last_call = nullptr;

/// What the file calls itself in its dynamic section.
std::string soname_of(const link_map &map) {
  const char *names = nullptr;
  ElfW(Xword) offset = 0;
  bool found = false;
  for (const ElfW(Dyn) *entry = map.l_ld; entry->d_tag != DT_NULL; ++entry) {
    if (entry->d_tag == DT_STRTAB) {
      // Loaders differ in whether they add the library's address to this.
      const auto address = static_cast<ElfW(Addr)>(entry->d_un.d_ptr);
      names = reinterpret_cast<const char *>(address < map.l_addr ? address + map.l_addr : address);
    }
    if (entry->d_tag == DT_SONAME) {
      offset = entry->d_un.d_val;
      found = true;
    }
  }
  return found && names != nullptr ? names + offset : "";
}

template <typename EntryType>
void find(void *handle, EntryType &entry, std::vector<std::string> &missing) {
  void *address = dlsym(handle, entry.name());
  entry.set(address);
  if (address == nullptr) missing.emplace_back(entry.name());
}

std::unique_ptr<Library> open_library() {
  // As for a program that is linked against it: its symbols are there for whatever it loads itself.
  void *handle = dlopen(kSoname, RTLD_NOW | RTLD_GLOBAL);
  if (handle == nullptr) throw NoLibrary(dlerror());
  auto library = std::make_unique<Library>();
  link_map *map = nullptr;
  if (dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr) {
    library->path = map->l_name;
    library->soname = soname_of(*map);
  }
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define ZEL_FIND(function) find(handle, library->function, library->missing);
  ZEL_FUNCTIONS(ZEL_FIND)
#undef ZEL_FIND
  return library;
}

}  // namespace

const Library &zel() {
  static const std::unique_ptr<Library> library = open_library();
  return *library;
}

void share_last_call() {
  void *memory = mmap(nullptr, sizeof *last_call, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory != MAP_FAILED) last_call = new (memory) std::atomic<const char *>(nullptr);
}

void note_call(const char *name) {
  if (last_call != nullptr) last_call->store(name, std::memory_order_relaxed);
}

std::string take_last_call() {
  const char *name = last_call != nullptr ? last_call->exchange(nullptr) : nullptr;
  return name != nullptr ? name : "";
}

}  // namespace compliance
