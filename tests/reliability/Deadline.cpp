#include "tests/reliability/Deadline.h"

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>

namespace tavtest {

namespace {

struct Completion {
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;
};

}  // namespace

void FinishWithin(double seconds, const char* what, const std::function<void()>& call) {
  // Shared with the thread, which may outlive this frame if it hangs.
  auto completion = std::make_shared<Completion>();
  std::thread worker([completion, call] {
    call();
    std::lock_guard<std::mutex> lock(completion->mutex);
    completion->finished = true;
    completion->done.notify_all();
  });
  std::unique_lock<std::mutex> lock(completion->mutex);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  if (!completion->done.wait_until(lock, deadline, [&] { return completion->finished; })) {
    std::fprintf(stderr, "HANG: %s did not return within %.0f s\n", what, seconds);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 3);
  }
  lock.unlock();
  worker.join();
}

}  // namespace tavtest
