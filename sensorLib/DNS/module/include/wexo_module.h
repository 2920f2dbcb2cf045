/*
 * The C interface of a sensor module, as a host loads it.
 *
 * Only plain data crosses it: integers, byte pointers with their lengths and
 * the host's callback. Every message the module sends is one serialised
 * Envelope of proto/wexo.proto; settings are a serialised SensorData.
 *
 * Return codes: 0 success; 1 already initialised / construction failed /
 * buffer too small; 2 an error was caught (its reason is in the runtime log);
 * 3 the module is not initialised; 4 and above are the dispatcher's refusals
 * (OperationCode in proto/wexo.proto).
 *
 * The host must not overlap InitializeModule or CleanupModule with any other call.
 */
#ifndef WEXO_MODULE_H
#define WEXO_MODULE_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(_WIN32)
#define WEXO_CALL __cdecl
#if defined(WEXO_BUILDING_MODULE)
#define WEXO_API __declspec(dllexport)
#else
#define WEXO_API __declspec(dllimport)
#endif
#else
#define WEXO_CALL
#if defined(WEXO_BUILDING_MODULE)
#define WEXO_API __attribute__((visibility("default")))
#else
#define WEXO_API
#endif
#endif

/* The API level this interface describes. */
#define WEXO_API_LEVEL 6

/* Receives every message of the module: the host's context, the bytes of one
 * serialised Envelope and their count. The bytes are valid only during the call.
 * Called from the thread that made the request (a scan thread, for example). */
typedef void(WEXO_CALL* wexo_host_callback)(uint64_t context, const uint8_t* data, uint32_t size);

WEXO_API int32_t WEXO_CALL InitializeModule(uint64_t context, wexo_host_callback callback);
WEXO_API int32_t WEXO_CALL GetApiLevel(void);
WEXO_API void WEXO_CALL GetModuleInformation(bool load_languages);
WEXO_API int32_t WEXO_CALL GetModuleInformationSync(uint8_t* buffer, uint32_t* size, bool include_texts);
WEXO_API int32_t WEXO_CALL CreateSensorInstance(int32_t sensor_id, const uint8_t* settings, uint32_t size);
WEXO_API int32_t WEXO_CALL ExecuteSensorScan(int32_t sensor_id);
WEXO_API int32_t WEXO_CALL ExecuteCheck(int32_t check_id, const uint8_t* settings, uint32_t size);
WEXO_API int32_t WEXO_CALL ExecuteMetaScan(int32_t sensor_id, uint32_t selector, const uint8_t* settings,
                                           uint32_t size);
WEXO_API int32_t WEXO_CALL DestroySensorInstance(int32_t sensor_id);
WEXO_API int32_t WEXO_CALL CleanupModule(void);

/* Function pointer types, for hosts that look the entry points up by name. */
typedef int32_t(WEXO_CALL* wexo_initialize_module_fn)(uint64_t, wexo_host_callback);
typedef int32_t(WEXO_CALL* wexo_get_api_level_fn)(void);
typedef void(WEXO_CALL* wexo_get_module_information_fn)(bool);
typedef int32_t(WEXO_CALL* wexo_get_module_information_sync_fn)(uint8_t*, uint32_t*, bool);
typedef int32_t(WEXO_CALL* wexo_create_sensor_instance_fn)(int32_t, const uint8_t*, uint32_t);
typedef int32_t(WEXO_CALL* wexo_execute_sensor_scan_fn)(int32_t);
typedef int32_t(WEXO_CALL* wexo_execute_check_fn)(int32_t, const uint8_t*, uint32_t);
typedef int32_t(WEXO_CALL* wexo_execute_meta_scan_fn)(int32_t, uint32_t, const uint8_t*, uint32_t);
typedef int32_t(WEXO_CALL* wexo_destroy_sensor_instance_fn)(int32_t);
typedef int32_t(WEXO_CALL* wexo_cleanup_module_fn)(void);

#ifdef __cplusplus
}
#endif

#endif /* WEXO_MODULE_H */
