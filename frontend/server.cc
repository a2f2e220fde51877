#include "frontend/server.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <string>

#include "device/device.h"
#include "platform/program.h"
#include "support/log_texts.h"
#include "support/memory_shortage.h"

namespace kv500 {
namespace {

constexpr std::size_t largestPool = 8;
constexpr int bindTries = 10;
constexpr std::uint32_t bindPause = 100;  // Milliseconds.
constexpr std::uint32_t stopPause = 100;  // Milliseconds.
constexpr std::int64_t crowdLimit = 8;
constexpr std::int64_t largestCrowd = 40;      // Forgotten after 2 seconds.
constexpr std::int64_t crowdStep = 50;         // Milliseconds after which one is forgotten.
constexpr std::int32_t requestLimit = 10'000;  // Microseconds.

}  // namespace

ClientWorker::~ClientWorker() {
  client.close();
  thread.close();
}

Server::Server(Device* served) : device(served) {
  if (!openPort()) {
    throw log_texts::portNotOpened;
  }
  const auto run = [](void* server) { static_cast<Server*>(server)->serverLoop(); };
  if (!mainThread.start(run, this)) {
    listener.close();
    throw std::string("Could not start server main thread!");
  }
}

Server::~Server() {
  listenerStopEvent.set();
  // Waits without limit: the current connections come to their end first, and no part of this
  // object may be destroyed while a thread uses it.
  listenerStoppedEvent.wait();
  platform::WaitForSingleObject(mainThread.handle, platform::INFINITE);
  mainThread.close();
}

bool Server::openPort() {
  for (int i = 0; i < bindTries; ++i) {
    if (listener.bindAndListen(device->listenPort(), device->listenAddress())) {
      return true;
    }
    platform::Sleep(bindPause);
  }
  return false;
}

void Server::serverLoop() {
  if (!listener.hasSocket()) {
    throw std::string("Cannot run server with invalid socket");
  }
  for (;;) {  // Until the stop event; it is checked after each wait for a connection.
    outlastShortage([this] { acceptOne(); });
    if (listenerStopEvent.isSet()) {
      stopWorkers();
      return;
    }
  }
}

void Server::acceptOne() {
  TcpSocket accepted;
  const bool hasConnection = listener.acceptPending(accepted);
  removeEndedWorker();
  if (hasConnection) {
    dispatch(accepted);
  }
}

void Server::dispatch(TcpSocket& accepted) {
  ClientWorker* const worker = isWelcome(accepted) ? assignWorker(accepted) : nullptr;
  if (worker == nullptr) {
    accepted.turnAway();
    crowd = std::min(currentCrowd() + 1, largestCrowd);
    return;
  }
  // Without the lock, because the worker takes it first. The worker still exists: it is removed
  // only when this thread asks it to end or finds that its thread has ended.
  worker->wakeEvent.set();
}

bool Server::isWelcome(TcpSocket& accepted) {
  return currentCrowd() < crowdLimit || idleWorkers() != 1 || accepted.hasInput(requestLimit);
}

std::int64_t Server::currentCrowd() {
  const std::int64_t steps = (platform::clock() - crowdSince) / crowdStep;
  crowdSince += steps * crowdStep;
  crowd = std::max<std::int64_t>(0, crowd - steps);
  return crowd;
}

std::size_t Server::idleWorkers() {
  const ScopedLock guard(lock);
  const auto busy = std::count_if(workers.begin(), workers.end(),
                                  [](const auto& worker) { return worker->busy; });
  return largestPool - static_cast<std::size_t>(busy);
}

ClientWorker* Server::assignWorker(TcpSocket& accepted) {
  const ScopedLock guard(lock);
  const auto idle = std::find_if(workers.begin(), workers.end(),
                                 [](const auto& worker) { return !worker->busy; });
  if (idle == workers.end()) {
    return workers.size() < largestPool ? startWorker(accepted) : nullptr;
  }
  accepted.handOver((*idle)->client);
  (*idle)->busy = true;
  return idle->get();
}

ClientWorker* Server::startWorker(TcpSocket& accepted) {
  ClientWorker* const worker = workers.emplace_back(std::make_unique<ClientWorker>(this)).get();
  worker->busy = true;
  accepted.handOver(worker->client);
  const auto run = [](void* argument) {
    auto* const self = static_cast<ClientWorker*>(argument);
    self->server->workerLoop(self);
  };
  if (!worker->thread.start(run, worker)) {
    // No thread could be started. This client is turned away; the next one may be served.
    eraseWorker(worker);
    return nullptr;
  }
  return worker;
}

void Server::removeEndedWorker() {
  const ScopedLock guard(lock);
  const auto ended = std::find_if(workers.begin(), workers.end(), [](const auto& worker) {
    return platform::WaitForSingleObject(worker->thread.handle, 0) == platform::WAIT_OBJECT_0;
  });
  if (ended != workers.end()) {
    eraseWorker(ended->get());
  }
}

void Server::stopWorkers() {
  {
    const ScopedLock guard(lock);
    for (const auto& worker : workers) {
      worker->quitRequested = true;
      worker->wakeEvent.set();
    }
  }
  // Bounded by the current connections: a silent client is closed after 10 seconds.
  while (workerCount() > 0) {
    platform::Sleep(stopPause);
  }
  listenerStoppedEvent.set();
}

void Server::removeWorker(ClientWorker* worker) {
  const ScopedLock guard(lock);
  eraseWorker(worker);
}

void Server::eraseWorker(ClientWorker* worker) {
  workers.remove_if([worker](const auto& entry) { return entry.get() == worker; });
}

std::size_t Server::workerCount() {
  const ScopedLock guard(lock);
  return workers.size();
}

bool Server::takeUpWork(ClientWorker* worker) {
  const ScopedLock guard(lock);
  worker->busy = !worker->quitRequested;
  return worker->busy;
}

void Server::workerLoop(ClientWorker* worker) {
  for (;;) {  // Until the server asks for the end; waits for work in between.
    if (!worker->wakeEvent.wait()) {
      return;  // The listener finds the thread ended and makes room for another.
    }
    if (!takeUpWork(worker)) {
      removeWorker(worker);
      return;
    }
    try {
      device->handleConnection(worker->client);
    } catch (const std::bad_alloc&) {
      tellOfLostRequest();
    } catch (...) {
      // A failure of one connection must not cost the pool a worker.
    }
    endConnection(worker);
  }
}

void Server::endConnection(ClientWorker* worker) {
  TcpSocket served;
  {
    const ScopedLock guard(lock);
    worker->client.handOver(served);
    worker->busy = false;
  }
  // The connection is closed only now: a client that sees the end of its connection finds its
  // worker free. Meanwhile the listener may already give the worker its next connection.
  served.close();
}

}  // namespace kv500
