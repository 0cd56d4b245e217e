#include "proc/threadpool.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

class TTask : public TIEExecutor {
  public:
    TTask(bool InThread, std::function<void()> Work) : TIEExecutor(InThread), fWork(std::move(Work)) {}
    void Execute() override { fWork(); }

  private:
    std::function<void()> fWork;
};

} // namespace

TEST(ThreadPool, RunsInCallerOrOnOwnThreadsAndFreesOnJoin) {
    // Every task holds a copy of alive, so its count shows how many are not yet freed.
    auto alive = std::make_shared<int>(0);
    std::thread::id where[3];
    TIEThreadPool pool;
    for (int i = 0; i < 3; ++i) {
        pool.Add(
            std::make_unique<TTask>(i > 0, [alive, &where, i] { where[i] = std::this_thread::get_id(); }));
        // Without a thread the work is done by the time Add returns.
        EXPECT_EQ(where[0], std::this_thread::get_id());
    }
    pool.Join();
    EXPECT_EQ(alive.use_count(), 1);
    EXPECT_TRUE(where[1] != std::this_thread::get_id() && where[2] != std::this_thread::get_id() &&
                where[1] != where[2]);
}

// An exception must not end the process on the worker: Join throws it, the first added first.
TEST(ThreadPool, JoinRethrowsTheFirstExceptionOfItsThreads) {
    TIEThreadPool pool;
    pool.Add(std::make_unique<TTask>(true, [] {}));
    pool.Add(std::make_unique<TTask>(true, [] { throw std::runtime_error("first"); }));
    pool.Add(std::make_unique<TTask>(true, [] { throw std::logic_error("second"); }));
    try {
        pool.Join();
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "first");
    }
}
