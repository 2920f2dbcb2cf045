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
 * (OperationCode in proto/wexo.proto), each with its reason in the runtime log.
 *
 * Threads: the host must not overlap InitializeModule or CleanupModule with any
 * other call. Everything else may be called from any thread at any time; scans
 * of different sensors run in parallel. A scan of a sensor that is scanning
 * already is refused at once with 9 (OPERATION_SCAN_IN_PROGRESS), never queued.
 *
 * From inside the callback the host may call GetApiLevel,
 * GetModuleInformation, GetModuleInformationSync, CreateSensorInstance,
 * ExecuteSensorScan (for the sensor whose scan is delivering the message it
 * answers 9 at once), ExecuteCheck, ExecuteMetaScan and DestroySensorInstance.
 * It must not call InitializeModule or CleanupModule there.
 *
 * Destroying a sensor while it scans: DestroySensorInstance returns 0 without
 * waiting for the scan, the scan runs to its end (its ExecuteSensorScan returns
 * 0), and its result, and anything else that instance would still send except
 * sensor log lines, is dropped with a line in the runtime log. Once DestroySensorInstance has returned, no result of the
 * destroyed instance reaches the callback, so a result for an id created again
 * afterwards is always the new sensor's. If a message of that instance is in
 * the callback on another thread at that moment, DestroySensorInstance waits
 * for the callback to return: the callback must therefore not wait for a
 * thread that is destroying a sensor (a destroy from inside the callback, on
 * its own thread, does not wait). Sensor log lines that the old scan still
 * writes ("Exit sensor scan", "Cleaning Up") keep arriving under the id until
 * it ends.
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

/* 0 created; 1 already initialised (the running module is kept and says so in
 * its runtime log), a null callback, or construction failed. */
WEXO_API int32_t WEXO_CALL InitializeModule(uint64_t context, wexo_host_callback callback);
/* Always WEXO_API_LEVEL; needs no initialisation. */
WEXO_API int32_t WEXO_CALL GetApiLevel(void);
/* Sends the ModuleInformation through the callback; does nothing before
 * initialisation. */
WEXO_API void WEXO_CALL GetModuleInformation(bool load_languages);
/* The serialised ModuleInformation envelope, copied into the caller's buffer.
 * *size holds the buffer's capacity on the way in and the needed byte count on
 * the way out. 1 for a null size (checked first, initialised or not); 2 before
 * initialisation, *size unchanged; 0 with a null buffer (the size query);
 * 1 when the capacity is too small, nothing copied; 0 copied; 1 for an error
 * (its reason in the runtime log). */
WEXO_API int32_t WEXO_CALL GetModuleInformationSync(uint8_t* buffer, uint32_t* size, bool include_texts);
/* 0 created; 2 when the settings fail or the id is taken ("Sensor with ID N is
 * already registered." in the runtime log); 4, 7 refusals. */
WEXO_API int32_t WEXO_CALL CreateSensorInstance(int32_t sensor_id, const uint8_t* settings, uint32_t size);
/* 0 scanned, the result sent through the callback before the call returns;
 * 6 no such sensor; 9 the sensor is scanning already. */
WEXO_API int32_t WEXO_CALL ExecuteSensorScan(int32_t sensor_id);
WEXO_API int32_t WEXO_CALL ExecuteCheck(int32_t check_id, const uint8_t* settings, uint32_t size);
WEXO_API int32_t WEXO_CALL ExecuteMetaScan(int32_t sensor_id, uint32_t selector, const uint8_t* settings,
                                           uint32_t size);
/* 0 destroyed (see "Destroying a sensor while it scans" above); 6 no such sensor. */
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
