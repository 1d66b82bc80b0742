// services.h - how Shutdown (host.cpp) ends the platform's services. Each function waits for a running
// callback and joins the service's thread; the service starts again at its next use. Called one after another
// from one thread at a time, holding no lock of a service. On the service's own thread, where waiting would
// never end, they log an error and do nothing.
#ifndef QUOR_PLATFORM_LINUX_SERVICES_H
#define QUOR_PLATFORM_LINUX_SERVICES_H

namespace quor_platform::internal {

// Cancels every HTTPS request. The transport stays initialised if it was.
void ShutdownHttp();

// The HTTPS requests' side of AbortRequests and AllowRequests (host.h).
void AbortHttp(bool abort);

// Stops every timer. Handles stay valid until OsFreeRelTimer.
void ShutdownTimers();

// Drops the messages that nobody took yet. Receivers stay registered.
void ShutdownMessages();

// Writes out the log. Without its thread every later record is written out at once.
void ShutdownLogs();

}  // namespace quor_platform::internal

#endif
