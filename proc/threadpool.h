#pragma once

#include <exception>
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
    // What ended Execute on its thread, for the pool to throw on the caller's.
    std::exception_ptr fError;
};

// Runs executors and waits for them. Not itself thread-safe: one owner adds and joins.
class TIEThreadPool {
  public:
    TIEThreadPool() = default;
    // Waits for what is still running; an exception of one of them goes nowhere then,
    // since the pool only goes without Join while another exception is on its way.
    ~TIEThreadPool() { Wait(); }
    TIEThreadPool(const TIEThreadPool&) = delete;
    TIEThreadPool& operator=(const TIEThreadPool&) = delete;

    // Takes ownership; starts the executor's thread, or runs it at once in the caller.
    void Add(std::unique_ptr<TIEExecutor> Executor);
    // Waits for every thread in the order added, then frees the executors. An exception
    // that ended an executor on its thread is thrown again here, the first one added
    // first, so that it reaches the caller instead of ending the process.
    void Join();

  private:
    std::exception_ptr Wait();

    std::vector<std::unique_ptr<TIEExecutor>> fThreads;
};
