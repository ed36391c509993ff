#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace korvane_test {

/// A function of a library that the window toolkit has loaded and that comes without its headers.
template <typename Function>
Function* OfLibrary(const char* name) {
    void* const address = dlsym(RTLD_DEFAULT, name);
    if (address == nullptr) throw std::runtime_error(std::string("no function ") + name);
    return reinterpret_cast<Function*>(address);
}

/// An entry of that library's lists, single or double.
struct LibraryList {
    void* data;
    LibraryList* next;
};

}  // namespace korvane_test
