// The machine's own sockets, events, threads and pauses. Each operation is described at the
// operation of the seam with the same name. A real world passes the seam's calls on to these
// operations. The simulated world checks each call first.
#ifndef KV500_PLATFORM_HOST_HANDLES_H
#define KV500_PLATFORM_HOST_HANDLES_H

#include "platform/sockets.h"
#include "platform/threading.h"

namespace platform::host {

decltype(platform::WSAStartup) WSAStartup;
decltype(platform::WSACleanup) WSACleanup;
decltype(platform::socket) socket;
decltype(platform::bind) bind;
decltype(platform::listen) listen;
decltype(platform::select) select;
decltype(platform::accept) accept;
decltype(platform::recv) recv;
decltype(platform::send) send;
decltype(platform::shutdown) shutdown;
decltype(platform::closesocket) closesocket;

decltype(platform::CreateEventA) CreateEventA;
decltype(platform::SetEvent) SetEvent;
decltype(platform::WaitForSingleObject) WaitForSingleObject;
decltype(platform::CreateThread) CreateThread;
decltype(platform::CloseHandle) CloseHandle;
decltype(platform::Sleep) Sleep;

}  // namespace platform::host

#endif
