#include "proc/threadpool.h"

void TIEThreadPool::Add(std::unique_ptr<TIEExecutor> Executor) {
    TIEExecutor* executor = Executor.get();
    fThreads.push_back(std::move(Executor));
    if (!executor->fExecInThread) {
        executor->Execute();
        return;
    }
    executor->fThread = std::thread([executor] {
        // An exception may not leave a thread's function: that would end the process.
        try {
            executor->Execute();
        } catch (...) {
            executor->fError = std::current_exception();
        }
    });
}

std::exception_ptr TIEThreadPool::Wait() {
    std::exception_ptr first;
    for (auto& executor : fThreads) {
        if (executor->fThread.joinable()) executor->fThread.join();
        if (!first) first = executor->fError;
    }
    fThreads.clear();
    return first;
}

void TIEThreadPool::Join() {
    if (std::exception_ptr error = Wait()) std::rethrow_exception(error);
}
