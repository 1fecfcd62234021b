#include "meanwhile/Scene.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <vector>

#include "fanout/server/GrpcServer.h"

namespace bench {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

}  // namespace

Scene::Scene(const char* moduleFile, std::size_t clients) : module(moduleFile), clients(clients) {
  server = startGrpcServer(otherPort, [this](auto& builder) { builder.RegisterCallbackGenericService(&service); });
  Start();
}

Scene::~Scene() { Leave(); }

double Scene::Time(bool inHandOut, const std::function<void()>& action) {
  std::atomic<bool> begun = false;
  std::jthread engineThread;
  if (inHandOut) engineThread = std::jthread([&] { begun = true, Emit(sim::Event::meterFast); });
  while (inHandOut && !begun) std::this_thread::yield();
  std::this_thread::sleep_for(1ms);
  const auto begin = Clock::now();
  action();
  const std::chrono::duration<double, std::milli> took = Clock::now() - begin;
  if (engineThread.joinable()) engineThread.join();
  std::this_thread::sleep_for(100ms);  // until all is delivered
  return took.count();
}

double Scene::TimeHandOut() {
  return Time(false, [this] { Emit(sim::Event::meterFast); });
}

void Scene::Restart() {
  Leave();
  Start();
}

void Scene::Start() {
  instance = std::make_unique<sim::Instance>(module.Entry(), engine);
  if (instance->Start(moduleConfig(port)) != 0) throw std::runtime_error("the module did not start");
  Subscribe();
  reader = std::jthread([this](const std::stop_token& stop) {
    try {
      while (!stop.stop_requested()) subscribers->Poll(5ms);
    } catch (const std::exception&) {  // the module was stopped
    }
  });
}

void Scene::Subscribe() {
  subscribers = std::make_unique<Subscribers>("grpc", std::vector{port}, offsets);
  subscribers->Resize(clients);
  const auto deadline = Clock::now() + 60s;
  while (!subscribers->AllHeard()) {
    if (Clock::now() > deadline) throw std::runtime_error("not every client receives events");
    Emit(sim::Event::meterFast);
    for (int i = 0; i < 10; ++i) subscribers->Poll(20ms);
  }
}

void Scene::Leave() {
  reader = {};
  subscribers.reset();
  instance.reset();
}

}  // namespace bench
