#include "handlers/plugin/plugin.h"

#include <dlfcn.h>

#include <cstdint>

namespace quorle::plugin {
namespace {

using EntryFunction = const ::Handler* (*)(std::uint32_t version);

constexpr const char* kEntryName = "QuorleHandler";

std::string LoaderProblem() {
  const char* const said = dlerror();
  return said != nullptr ? said : "it cannot be loaded";
}

/// Whether a sanitizer runs in this process, the program's own or one that was loaded before it.
bool HasSanitizer() {
  for (const char* const function :
       {"__lsan_do_leak_check", "__asan_init", "__tsan_init", "__msan_init"}) {
    if (dlsym(RTLD_DEFAULT, function) != nullptr) return true;
  }
  return false;
}

}  // namespace

std::unique_ptr<Plugin> Plugin::Load(const std::string& path, std::string& problem) {
  std::unique_ptr<Plugin> plugin(new Plugin);
  // Without a slash the loader would look in the system's folders.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  // Everything that is missing is reported now, not in the middle of a test; what the object exports
  // does not get in the way of another one.
  plugin->object_ = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (plugin->object_ == nullptr) {
    problem = LoaderProblem();
    return nullptr;
  }
  const auto entry = reinterpret_cast<EntryFunction>(dlsym(plugin->object_, kEntryName));
  if (entry == nullptr) {
    problem = path + " exports no " + kEntryName + "()";
    return nullptr;
  }
  plugin->handler_ = entry(QUORLE_HANDLER_VERSION);
  if (plugin->handler_ == nullptr) {
    problem = path + " has no handler for version " + std::to_string(QUORLE_HANDLER_VERSION) +
              " of the header";
    return nullptr;
  }
  return plugin;
}

Plugin::~Plugin() {
  // A sanitizer names functions when the program ends, and those of the handler only while it is
  // loaded.
  if (object_ != nullptr && !HasSanitizer()) dlclose(object_);
}

}  // namespace quorle::plugin
