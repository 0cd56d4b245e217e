#include "proc/threadpool.h"

void TIEThreadPool::Add(std::unique_ptr<TIEExecutor> Executor) {
    TIEExecutor* executor = Executor.get();
    fThreads.push_back(std::move(Executor));
    if (executor->fExecInThread)
        executor->fThread = std::thread([executor] { executor->Execute(); });
    else
        executor->Execute();
}

void TIEThreadPool::Join() {
    for (auto& executor : fThreads)
        if (executor->fThread.joinable()) executor->fThread.join();
    fThreads.clear();
}
