// host.cpp - the end of the platform.

#include "quor_platform_linux/host.h"

#include "platform_linux/dns/address_names.h"
#include "platform_linux/services.h"
#include "platform_linux/thread_annotations.h"
#include "platform_linux/websocket/links.h"

namespace quor_platform {
namespace {

constinit internal::Mutex shutdownMutex;  // one shutdown at a time

}  // namespace

void AbortRequests() {
    internal::AbortHttp(true);
    internal::BlockingLookups().Block(true);
    internal::BlockingLookups().CancelAll();
}

void AllowRequests() {
    internal::BlockingLookups().Block(false);
    internal::AbortHttp(false);
}

// Links and requests first: their callbacks may use timers and messages; everything logs.
void Shutdown() {
    const internal::MutexLock lock(shutdownMutex);
    ShutdownLinks();
    internal::ShutdownHttp();
    internal::ShutdownTimers();
    internal::ShutdownMessages();
    internal::ShutdownLogs();
}

}  // namespace quor_platform
