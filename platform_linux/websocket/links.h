// links.h - what the rest of the platform sees of the WebSocket/STOMP client: its end. What programs use is
// declared in quor_platform/websocket.h and quor_platform_linux/host.h.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_LINKS_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_LINKS_H

namespace quor_platform {

// The links' part of Shutdown: ends every link within its close timeout without an event, waits for a running
// event and joins the threads. The sink and the settings stay. Links can be started again afterwards. From a
// link event it logs an error and does nothing.
void ShutdownLinks();

}  // namespace quor_platform

#endif
