/* Loading a library by its file's name, as a host does. */
#ifndef TESTS_SHARED_LIBRARY_H
#define TESTS_SHARED_LIBRARY_H

typedef void (*Function)(void);

#if defined(_WIN32)
#include <windows.h>

typedef HMODULE SharedLibrary;
static inline SharedLibrary open_library(const char* file) { return LoadLibraryA(file); }
static inline Function find_function(SharedLibrary library, const char* name) {
    return (Function)GetProcAddress(library, name);
}
static inline void close_library(SharedLibrary library) { FreeLibrary(library); }
#else
#include <dlfcn.h>
#include <string.h>

typedef void* SharedLibrary;
static inline SharedLibrary open_library(const char* file) { return dlopen(file, RTLD_NOW | RTLD_LOCAL); }
static inline Function find_function(SharedLibrary library, const char* name) {
    Function function;
    void* address = dlsym(library, name);
    memcpy(&function, &address, sizeof function);
    return function;
}
static inline void close_library(SharedLibrary library) { dlclose(library); }
#endif

#endif
