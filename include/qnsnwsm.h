/*
 * qnsnwsm: agentless monitoring of Windows computers over WS-Management (WinRM).
 *
 * A host creates one module handle per monitored computer, connects it, runs checks and actions against it
 * and finally shuts it down:
 *
 *     QNSNWSM_HANDLE h = NULL;
 *     if (WSManInitialize("my-monitor", "/var/log/my-monitor/wsman.log", &h) == QNSNWSM_OK) {
 *         char error[512];
 *         if (WSManConnectToComputer(h, "server1", "DOMAIN\\monitor", "secret", "root\\cimv2", 5985, 0, 0,
 *                                    error, sizeof error) == QNSNWSM_OK) {
 *             ... checks ...
 *             WSManDisconnectComputer(h);
 *         }
 *         WSManShutdown(h);
 *     }
 *
 * Rules shared by every function:
 *  - The result is QNSNWSM_OK (0) on success and QNSNWSM_FAILURE (0xFFFFFFFF) on failure, also for a NULL
 *    handle. A check may return other codes of its own.
 *  - A text result is a caller buffer followed by its size in bytes. The buffer is zeroed over its whole size
 *    on entry, then filled and always NUL-terminated; a longer text is cut silently to size - 1 characters.
 *    A size of 0 means the buffer is neither zeroed nor written.
 *  - Texts are NUL-terminated; on Linux they are UTF-8, on Windows in the system ANSI code page.
 *  - A handle is used by one thread at a time. Different handles are independent.
 *  - No function throws; nothing crosses the interface but result codes and the buffers.
 */
#ifndef QNSNWSM_H
#define QNSNWSM_H

#include <stdint.h>

#if defined(_WIN32)
#if defined(QNSNWSM_BUILDING)
#define QNSNWSM_API __declspec(dllexport)
#else
#define QNSNWSM_API __declspec(dllimport)
#endif
#else
#define QNSNWSM_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The module handle: one monitored computer. Opaque to the host. */
typedef struct QnSnWsmModule* QNSNWSM_HANDLE;

#define QNSNWSM_OK ((uint32_t)0)
#define QNSNWSM_FAILURE ((uint32_t)0xFFFFFFFFu)

/* Default WinRM ports. */
#define QNSNWSM_PORT_HTTP 5985
#define QNSNWSM_PORT_HTTPS 5986

/* ---- Handle lifecycle and session ---- */

/*
 * Creates a module handle.
 *   baseSetting  a free text the host may use to name the handle; may be NULL.
 *   traceFile    full path of the trace log; NULL or "" turns tracing off. Every step is appended to it.
 *   handle       receives the new handle; set to NULL first, and left NULL on failure.
 * Returns QNSNWSM_OK, or QNSNWSM_FAILURE when the WinRM client could not be created.
 */
QNSNWSM_API uint32_t WSManInitialize(const char* baseSetting, const char* traceFile, QNSNWSM_HANDLE* handle);

/*
 * Destroys a handle created by WSManInitialize (the session is released with it). NULL does nothing.
 * The handle must not be used afterwards.
 */
QNSNWSM_API void WSManShutdown(QNSNWSM_HANDLE handle);

/*
 * Opens a WinRM session to a computer.
 *   computer      host name or address.
 *   userName      "DOMAIN\\user", "user@REALM" or a local account; NULL or "" uses the caller's own
 *                 credentials (on Linux: the Kerberos ticket cache).
 *   password      the account's password; never written to the trace.
 *   wmiNamespace  WMI namespace of every later query; NULL or "" means "root/cimv2". For "root\\cimv2" and
 *                 "root/cimv2" exactly, the connect reads one instance of a validation class to prove the
 *                 credentials, and fails (closing the session) when that is refused.
 *   port          TCP port, used as given (5985 for HTTP and 5986 for HTTPS are WinRM's defaults).
 *   useSsl        1 for HTTPS, anything else for HTTP.
 *   reserved      pass 0.
 *   errorText     receives the reason of a failure, such as
 *                 "WMI/WinRM Error 0x80070005: Access is denied".
 * Returns QNSNWSM_OK when the session is open. A second connect opens a new session.
 */
QNSNWSM_API uint32_t WSManConnectToComputer(QNSNWSM_HANDLE handle, const char* computer, const char* userName,
                                            const char* password, const char* wmiNamespace, uint16_t port,
                                            uint8_t useSsl, uintptr_t reserved, char* errorText,
                                            uint32_t errorTextSize);

/* Closes the session of a handle; the handle stays valid and may connect again. NULL does nothing. */
QNSNWSM_API void WSManDisconnectComputer(QNSNWSM_HANDLE handle);

/* ---- Checks and actions ---- */

/* ---- End of checks and actions ---- */

#ifdef __cplusplus
}
#endif

#endif /* QNSNWSM_H */
