#include "proc/threadpool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

class TRecorder : public TIEExecutor {
  public:
    TRecorder(bool InThread, std::thread::id& Where, std::atomic<int>& Runs, std::atomic<int>& Alive)
        : TIEExecutor(InThread), fWhere(Where), fRuns(Runs), fAlive(Alive) {
        ++fAlive;
    }
    ~TRecorder() override { --fAlive; }
    void Execute() override {
        fWhere = std::this_thread::get_id();
        ++fRuns;
    }

  private:
    std::thread::id& fWhere;
    std::atomic<int>& fRuns;
    std::atomic<int>& fAlive;
};

} // namespace

TEST(ThreadPool, RunsInCallerOrOnOwnThreadAndFreesOnJoin) {
    std::atomic<int> runs{0}, alive{0};
    std::thread::id inCaller, inThread1, inThread2;
    TIEThreadPool pool;
    pool.Add(std::make_unique<TRecorder>(false, inCaller, runs, alive));
    // Without a thread the work is done by the time Add returns.
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(inCaller, std::this_thread::get_id());
    pool.Add(std::make_unique<TRecorder>(true, inThread1, runs, alive));
    pool.Add(std::make_unique<TRecorder>(true, inThread2, runs, alive));
    pool.Join();
    EXPECT_EQ(runs, 3);
    EXPECT_EQ(alive, 0);
    EXPECT_NE(inThread1, std::this_thread::get_id());
    EXPECT_NE(inThread2, std::this_thread::get_id());
    EXPECT_NE(inThread1, inThread2);
}
