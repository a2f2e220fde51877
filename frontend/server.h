// The listening socket and its pool of workers.
#ifndef KV500_FRONTEND_SERVER_H
#define KV500_FRONTEND_SERVER_H

#include <cstdint>
#include <list>
#include <memory>

#include "frontend/tcp_socket.h"
#include "support/event.h"
#include "support/lock.h"
#include "support/thread.h"

namespace kv500 {

class Device;
class Server;

/// One entry of the pool: a thread that serves one connection at a time and waits between
/// connections.
struct ClientWorker {
  /// Raises "Could not create event".
  explicit ClientWorker(Server* owner) : server(owner) {}
  /// Closes the connection and the handles. Does not wait for the thread.
  ~ClientWorker();
  ClientWorker(const ClientWorker&) = delete;
  ClientWorker& operator=(const ClientWorker&) = delete;

  Server* const server;
  const Event wakeEvent{Event::Reset::Auto};  ///< There is work, or the thread must end.
  bool busy = false;                          ///< Guarded by the server's lock, like the next one.
  bool quitRequested = false;
  Thread thread;
  /// Written by the listener while the worker is idle, and by the worker while it is busy.
  TcpSocket client;
};

/// Accepts connections for a device and gives each to a worker. Serves at most 8 at a time; any
/// further connection is closed at once without an answer.
class Server {
 public:
  /// Opens the device's port and starts the listener thread. `device` must outlive the server.
  /// Raises "Could not create event", "Could not open port" (after 10 tries in a second) or "Could
  /// not start server main thread!". Nothing is left open then.
  explicit Server(Device* device);

  /// Stops the listener and the workers and returns after the connections in service have ended.
  /// The running service never gets here: it ends with the process.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Takes a worker out of the pool and destroys it. Does nothing if it is not there. The worker
  /// itself calls this as its last step.
  void removeWorker(ClientWorker* worker) EXCLUDES(lock);

  /// The number of workers, idle ones included. Any thread.
  std::size_t workerCount() EXCLUDES(lock);

 private:
  bool openPort();
  void serverLoop();
  void acceptOne() EXCLUDES(lock);
  void dispatch(TcpSocket& accepted) EXCLUDES(lock);
  /// Whether a client may have a worker. When many clients come, the last worker is kept for a
  /// client whose request arrives at once. Otherwise silent clients that reconnect whenever they
  /// are closed would occupy all workers.
  bool isWelcome(TcpSocket& accepted) EXCLUDES(lock);
  /// How many clients were turned away lately: one less for each 50 ms that have passed.
  std::int64_t currentCrowd();
  /// How many more connections could be served now.
  std::size_t idleWorkers() EXCLUDES(lock);
  /// The worker that now has the connection and must still be woken. None if there is no room.
  ClientWorker* assignWorker(TcpSocket& accepted) EXCLUDES(lock);
  ClientWorker* startWorker(TcpSocket& accepted) REQUIRES(lock);
  void removeEndedWorker() EXCLUDES(lock);
  void eraseWorker(ClientWorker* worker) REQUIRES(lock);
  void stopWorkers() EXCLUDES(lock);
  void workerLoop(ClientWorker* worker);
  bool takeUpWork(ClientWorker* worker) EXCLUDES(lock);
  void endConnection(ClientWorker* worker) EXCLUDES(lock);

  TcpSocket listener;
  Lock lock;  ///< Guards the pool and the flags of each worker.
  Thread mainThread;
  std::list<std::unique_ptr<ClientWorker>> workers GUARDED_BY(lock);  ///< Oldest first.
  const Event listenerStopEvent{Event::Reset::Manual};     ///< Asks the listener thread to stop.
  const Event listenerStoppedEvent{Event::Reset::Manual};  ///< No worker is left.
  Device* const device;
  // Used by the listener thread alone.
  std::int64_t crowd = 0;       ///< Clients that were turned away lately, at `crowdSince`.
  std::int64_t crowdSince = 0;  ///< Ticks of platform::clock.
};

}  // namespace kv500

#endif
