#include "module_loader.hpp"

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace vantrel::kelvane::probe {
namespace {

// The only platform-specific code of the probe: open, look up, close.
void* open_library(const std::string& path, std::string& error) {
#if defined(_WIN32)
    HMODULE handle = LoadLibraryA(path.c_str());
    if (handle == nullptr) {
        error = "error " + std::to_string(GetLastError());
    }
    return reinterpret_cast<void*>(handle);
#else
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        error = reason != nullptr ? reason : "unknown error";
    }
    return handle;
#endif
}

void* find_symbol(void* handle, const char* name) {
#if defined(_WIN32)
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(handle), name));
#else
    return dlsym(handle, name);
#endif
}

void close_library(void* handle) {
#if defined(_WIN32)
    FreeLibrary(reinterpret_cast<HMODULE>(handle));
#else
    dlclose(handle);
#endif
}

template <class F>
void bind(F& slot, void* symbol) {
    slot = reinterpret_cast<F>(symbol);
}

} // namespace

module_loader::module_loader(const std::string& path) : path_(path) {
    std::string error;
    handle_ = open_library(path, error);
    if (handle_ == nullptr) {
        throw std::runtime_error("Cannot load the module " + path + ": " + error);
    }
    try {
        bind(api_.initialize_module, find("InitializeModule"));
        bind(api_.get_api_level, find("GetApiLevel"));
        bind(api_.get_module_information, find("GetModuleInformation"));
        bind(api_.get_module_information_sync, find("GetModuleInformationSync"));
        bind(api_.create_sensor_instance, find("CreateSensorInstance"));
        bind(api_.execute_sensor_scan, find("ExecuteSensorScan"));
        bind(api_.execute_check, find("ExecuteCheck"));
        bind(api_.execute_meta_scan, find("ExecuteMetaScan"));
        bind(api_.destroy_sensor_instance, find("DestroySensorInstance"));
        bind(api_.cleanup_module, find("CleanupModule"));
        const int32_t level = api_.get_api_level();
        if (level != WEXO_API_LEVEL) {
            throw std::runtime_error("The module " + path + " speaks API level " + std::to_string(level) +
                                     "; this probe speaks level " + std::to_string(WEXO_API_LEVEL) + ".");
        }
    } catch (...) {
        close_library(handle_);
        throw;
    }
}

module_loader::~module_loader() { close_library(handle_); }

void* module_loader::find(const char* name) const {
    void* symbol = find_symbol(handle_, name);
    if (symbol == nullptr) {
        throw std::runtime_error("The module " + path_ + " has no entry point " + name + "; is it a sensor module?");
    }
    return symbol;
}

std::string default_module_path() {
    if (const char* configured = std::getenv("WEXO_MODULE"); configured != nullptr && *configured != '\0') {
        return configured;
    }
    return WEXO_DEFAULT_MODULE_PATH;
}

} // namespace vantrel::kelvane::probe
