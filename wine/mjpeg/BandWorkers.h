// A small fixed pool of threads that runs the jobs of one call in parallel:
// Run(jobs, work) calls work(job, worker) once for every job 0..jobs-1,
// on the calling thread (worker 0) and the pool's threads (1..Count()-1),
// and returns when all are done. The threads live as long as the object.
//
// Threads: Run is called by one thread at a time (the encoder's streaming
// thread); `work` must be safe to call from every worker at once, with a
// worker index that is unique among the calls running at the same time.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tavmjpeg {

class BandWorkers {
 public:
  explicit BandWorkers(int threads);
  ~BandWorkers();
  BandWorkers(const BandWorkers&) = delete;
  BandWorkers& operator=(const BandWorkers&) = delete;

  int Count() const { return static_cast<int>(m_threads.size()) + 1; }
  void Run(int jobs, const std::function<void(int job, int worker)>& work);

 private:
  void Loop(int worker);
  void TakeJobs(int worker);

  std::vector<std::thread> m_threads;
  std::mutex m_mutex;
  std::condition_variable m_wake;
  std::condition_variable m_done;
  unsigned m_generation = 0;
  bool m_stopping = false;
  int m_busy = 0;  // pool threads still working on the current call
  const std::function<void(int, int)>* m_work = nullptr;
  int m_jobs = 0;
  std::atomic<int> m_next{0};
};

}  // namespace tavmjpeg
