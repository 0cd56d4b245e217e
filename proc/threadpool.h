#pragma once

#include <memory>
#include <thread>
#include <vector>

// A unit of work that runs either on a thread of its own or, when threading does
// not pay, directly in the caller. Execute is called exactly once.
class TIEExecutor {
  public:
    explicit TIEExecutor(bool execInThread) : fExecInThread(execInThread) {}
    virtual ~TIEExecutor() = default;
    TIEExecutor(const TIEExecutor&) = delete;
    TIEExecutor& operator=(const TIEExecutor&) = delete;

    virtual void Execute() = 0;

  private:
    friend class TIEThreadPool;
    bool fExecInThread;
    // Started by the pool, not by the constructor, so that Execute never runs on a
    // half-constructed derived object.
    std::thread fThread;
};

// Runs executors and waits for them. Not itself thread-safe: one owner adds and joins.
class TIEThreadPool {
  public:
    TIEThreadPool() = default;
    ~TIEThreadPool() { Join(); }
    TIEThreadPool(const TIEThreadPool&) = delete;
    TIEThreadPool& operator=(const TIEThreadPool&) = delete;

    // Takes ownership; starts the executor's thread, or runs it at once in the caller.
    void Add(std::unique_ptr<TIEExecutor> Executor);
    // Waits for every thread in the order added, then frees the executors.
    void Join();

  private:
    std::vector<std::unique_ptr<TIEExecutor>> fThreads;
};
