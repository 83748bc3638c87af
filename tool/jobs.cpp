#include "tool/jobs.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <set>
#include <thread>
#include <vector>

#include "tool/console.h"

namespace tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto kTick = milliseconds(100);
// Ctrl-C ends the program within a second, whatever a job waits for.
constexpr auto kLongestEnd = milliseconds(600);

struct DeletePool {
  void operator()(HTTPcPool* pool) const { HTTPcPool_Delete(pool); }
};
using OwnedPool = std::unique_ptr<HTTPcPool, DeletePool>;

OwnedPool NewPool() {
  HTTPcPool* pool = nullptr;
  HTTPcPool_New(&pool);
  return OwnedPool(pool);
}

// What the threads of a run share.
class Run {
 public:
  Run(const NextJob& next, bool endsOnDiskFailure, Reporter* reporter)
      : next_(next), endsOnDiskFailure_(endsOnDiskFailure), reporter_(reporter) {}

  void Start(unsigned count) {
    for (unsigned i = 0; i < count; i++) {
      {
        const std::lock_guard lock(mutex_);
        running_++;
      }
      threads_.emplace_back([this] { Work(); });
    }
  }

  // Waits for the end of all threads. False when some did not end after an interrupt.
  bool Wait() {
    std::unique_lock lock(mutex_);
    std::optional<steady_clock::time_point> deadline;
    while (running_ > 0) {
      ended_.wait_for(lock, kTick);
      lock.unlock();
      reporter_->Tick();
      lock.lock();
      if (!console::Interrupted()) continue;
      isStopping_ = true;
      for (Job* job : jobs_) job->Stop();
      if (!deadline) deadline = steady_clock::now() + kLongestEnd;
      if (steady_clock::now() > *deadline) return running_ == 0;
    }
    return true;
  }

  void Join() {
    for (std::thread& thread : threads_) thread.join();
  }
  void Abandon() {
    for (std::thread& thread : threads_) thread.detach();
  }

  ExitCode FirstFailure() const { return first_; }

 private:
  void Work() {
    const OwnedPool connections = NewPool();
    while (const std::unique_ptr<Job> job = Next()) {
      Guarded([&] { job->Run(connections.get()); });
      const std::lock_guard lock(mutex_);
      jobs_.erase(job.get());
    }
    const std::lock_guard lock(mutex_);
    running_--;
    ended_.notify_one();
  }

  // A job that cannot begin has failed; the next one is tried.
  std::unique_ptr<Job> Next() {
    const std::lock_guard turn(nextMutex_);
    std::unique_ptr<Job> job;
    for (bool isFound = false; !isFound && !IsEnding();) {
      Guarded([&] {
        job = next_();
        isFound = true;
      });
    }
    const std::lock_guard lock(mutex_);
    if (job && !isStopping_) jobs_.insert(job.get());
    return isStopping_ ? nullptr : std::move(job);
  }

  bool IsEnding() {
    const std::lock_guard lock(mutex_);
    return isStopping_;
  }

  template <typename Function>
  void Guarded(const Function& function) {
    try {
      function();
    } catch (const Failure& failure) {
      Note(failure.code, failure.text);
    } catch (const Interruption&) {
      Stop();
    } catch (const std::bad_alloc&) {
      Note(ExitCode::Other, "out of memory");
    } catch (const std::exception& error) {
      Note(ExitCode::Other, error.what());
    }
  }

  void Note(ExitCode code, const std::string& text) {
    if (!text.empty()) reporter_->ReportError(text);
    const std::lock_guard lock(mutex_);
    if (first_ == ExitCode::Done) first_ = code;
    if (endsOnDiskFailure_ && code == ExitCode::Disk) isStopping_ = true;
  }

  void Stop() {
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
  }

  const NextJob& next_;
  const bool endsOnDiskFailure_;
  Reporter* reporter_;
  std::mutex nextMutex_;  // taken before the other one
  std::mutex mutex_;
  std::condition_variable ended_;
  std::vector<std::thread> threads_;
  std::set<Job*> jobs_;
  unsigned running_ = 0;
  bool isStopping_ = false;
  ExitCode first_ = ExitCode::Done;
};

}  // namespace

ExitCode RunJobs(const NextJob& next, unsigned count, bool endsOnDiskFailure, Reporter* reporter) {
  auto run = std::make_unique<Run>(next, endsOnDiskFailure, reporter);
  run->Start(count);
  if (!run->Wait()) {
    run->Abandon();
    (void)run.release();  // the threads that go on use it
    console::ExitInterrupted();
  }
  run->Join();
  if (console::Interrupted()) throw Interruption{};
  return run->FirstFailure();
}

}  // namespace tool
