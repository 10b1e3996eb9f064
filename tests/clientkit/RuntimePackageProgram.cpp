// SPDX-License-Identifier: Apache-2.0
// A program on a root file system that holds only the runtime package, run
// with nothing but that package's library directory and the stand-in
// platform's on the loader's search path. Built twice: without the module,
// opening it by the name the platform opens it by, and linked against it,
// the loader finding it by its SONAME. Prints the file the module came from;
// exits 0 when it was found and its platform symbols resolved.
#include <dlfcn.h>
#include <link.h>

#include <cstdio>

#ifdef OVT_LINKED_AGAINST_MODULE
#include "TarvikTrafHandler.h"
#endif

int main() {
#ifdef OVT_LINKED_AGAINST_MODULE
  (void)tarvik::TrafHandler::getInstance(RadioChannel_2);
  void* const module = dlopen("libOvtTrafHandler.so.1", RTLD_NOW | RTLD_NOLOAD);
#else
  // RTLD_NOW: every platform symbol resolves at once, or the open fails.
  void* const module = dlopen("libOvtTrafHandler.so", RTLD_NOW);
#endif
  if (module == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  link_map* file = nullptr;
  if (dlinfo(module, RTLD_DI_LINKMAP, &file) != 0 ||
      dlsym(module, "hccDataReceivedCt1") == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  std::printf("module: %s\n", file->l_name);
  return 0;
}
