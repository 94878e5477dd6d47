#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <string>

// Loads the library at run time, as an agent with plug-ins does, calls one function of it and unloads it again.
int main() {
  for (int times = 0; times < 2; ++times) {
    void* const library = dlopen("libgustaikrum.so.0.1", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::puts(dlerror()), 1;

    void* const symbol =
        dlsym(library, "_ZN8sap_hana23instance_number_to_nameEtRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
    if (symbol == nullptr) return std::puts(dlerror()), 1;
    std::string name;
    const bool ok = reinterpret_cast<bool (*)(std::uint16_t, std::string&)>(symbol)(7, name);
    if (!ok || name != "HDB07") return std::puts("wrong name"), 1;
    if (dlclose(library) != 0) return std::puts(dlerror()), 1;
  }
  return 0;
}
