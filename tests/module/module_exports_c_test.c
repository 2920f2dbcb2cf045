/* Loads the module from C and calls its ten entry points: proves that the
 * interface is plain C, undecorated, and usable without any C++ runtime on the
 * host's side. */
#include <wexo_module.h>

#include <stdio.h>
#include <string.h>

/* The only platform-specific part: open, look up, close. */
#ifdef _WIN32
#include <windows.h>
typedef HMODULE library_handle;
static library_handle open_library(const char* path) {
    return LoadLibraryA(path);
}
static void* find_symbol(library_handle module, const char* name) {
    FARPROC symbol = GetProcAddress(module, name);
    void* address;
    memcpy(&address, &symbol, sizeof address);
    return address;
}
static void close_library(library_handle module) {
    FreeLibrary(module);
}
static const char* library_error(void) {
    return "LoadLibrary failed";
}
#else
#include <dlfcn.h>
typedef void* library_handle;
static library_handle open_library(const char* path) {
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}
static void* find_symbol(library_handle module, const char* name) {
    return dlsym(module, name);
}
static void close_library(library_handle module) {
    dlclose(module);
}
static const char* library_error(void) {
    return dlerror();
}
#endif

static int failures = 0;
static int messages = 0;

#define CHECK(cond)                                                                                                    \
    do {                                                                                                               \
        if (!(cond)) {                                                                                                 \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);                                   \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)

/* POSIX guarantees that dlsym's object pointer can hold a function address
 * (and so does Windows for GetProcAddress); copying it bitwise keeps ISO C's
 * pointer rules intact. */
#define BIND(var, name)                                                                                                \
    do {                                                                                                               \
        void* symbol_ = find_symbol(module, name);                                                                     \
        memcpy(&(var), &symbol_, sizeof(var));                                                                         \
    } while (0)

static void on_message(uint64_t context, const uint8_t* data, uint32_t size) {
    (void)data;
    if (context == 7u && size > 0u) {
        ++messages;
    }
}

int main(void) {
    library_handle module = open_library(WEXO_MODULE_PATH);
    if (module == NULL) {
        fprintf(stderr, "cannot load module: %s\n", library_error());
        return 1;
    }
    const char* names[] = {
        "InitializeModule",  "GetApiLevel",  "GetModuleInformation", "GetModuleInformationSync", "CreateSensorInstance",
        "ExecuteSensorScan", "ExecuteCheck", "ExecuteMetaScan",      "DestroySensorInstance",    "CleanupModule"};
    for (size_t i = 0; i < sizeof names / sizeof names[0]; ++i) {
        if (find_symbol(module, names[i]) == NULL) {
            fprintf(stderr, "missing entry point %s\n", names[i]);
            ++failures;
        }
    }
    if (failures != 0) {
        return 1;
    }

    wexo_initialize_module_fn initialize;
    BIND(initialize, "InitializeModule");
    wexo_get_api_level_fn api_level;
    BIND(api_level, "GetApiLevel");
    wexo_get_module_information_fn information;
    BIND(information, "GetModuleInformation");
    wexo_get_module_information_sync_fn information_sync;
    BIND(information_sync, "GetModuleInformationSync");
    wexo_create_sensor_instance_fn create;
    BIND(create, "CreateSensorInstance");
    wexo_execute_sensor_scan_fn scan;
    BIND(scan, "ExecuteSensorScan");
    wexo_execute_check_fn check;
    BIND(check, "ExecuteCheck");
    wexo_execute_meta_scan_fn meta_scan;
    BIND(meta_scan, "ExecuteMetaScan");
    wexo_destroy_sensor_instance_fn destroy;
    BIND(destroy, "DestroySensorInstance");
    wexo_cleanup_module_fn cleanup;
    BIND(cleanup, "CleanupModule");

    CHECK(api_level() == WEXO_API_LEVEL);
    CHECK(scan(1) == 3);
    CHECK(initialize(7u, on_message) == 0);
    CHECK(initialize(8u, on_message) == 1);

    uint32_t size = 0;
    CHECK(information_sync(NULL, &size, true) == 0);
    CHECK(size > 0u);
    information(false);
    CHECK(messages > 0);

    /* A SensorData with kind "true_check": field 1, length 10. */
    const uint8_t true_check[] = {0x0a, 10, 't', 'r', 'u', 'e', '_', 'c', 'h', 'e', 'c', 'k'};
    CHECK(check(1, true_check, sizeof true_check) == 0);
    CHECK(create(1, true_check, sizeof true_check) == 4); /* not a sensor kind */
    CHECK(scan(1) == 6);
    CHECK(meta_scan(1, 0u, true_check, sizeof true_check) == 6);
    CHECK(destroy(1) == 6);

    CHECK(cleanup() == 0);
    CHECK(cleanup() == 0);
    CHECK(check(1, true_check, sizeof true_check) == 3);
    close_library(module);

    printf("%d passed, %d failed\n", failures == 0 ? 1 : 0, failures == 0 ? 0 : 1);
    return failures == 0 ? 0 : 1;
}
