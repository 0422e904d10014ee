#include "wine/mjpeg/BandWorkers.h"

namespace tavmjpeg {

BandWorkers::BandWorkers(int threads) {
  for (int worker = 1; worker < threads; ++worker) m_threads.emplace_back([this, worker] { Loop(worker); });
}

BandWorkers::~BandWorkers() {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_stopping = true;
  }
  m_wake.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

void BandWorkers::Run(int jobs, const std::function<void(int, int)>& work) {
  {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_work = &work;
    m_jobs = jobs;
    m_next = 0;
    m_busy = static_cast<int>(m_threads.size());
    ++m_generation;
  }
  m_wake.notify_all();
  TakeJobs(0);
  std::unique_lock<std::mutex> lock(m_mutex);
  m_done.wait(lock, [this] { return m_busy == 0; });
  m_work = nullptr;
}

void BandWorkers::TakeJobs(int worker) {
  for (int job = m_next++; job < m_jobs; job = m_next++) (*m_work)(job, worker);
}

void BandWorkers::Loop(int worker) {
  unsigned seen = 0;
  for (;;) {
    {
      std::unique_lock<std::mutex> lock(m_mutex);
      m_wake.wait(lock, [&] { return m_stopping || m_generation != seen; });
      if (m_stopping) return;
      seen = m_generation;
    }
    TakeJobs(worker);
    {
      std::lock_guard<std::mutex> lock(m_mutex);
      --m_busy;
    }
    m_done.notify_one();
  }
}

}  // namespace tavmjpeg
