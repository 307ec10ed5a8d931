// The thread slot: one pointer per thread, and the exit function called on each thread that
// ends with a pointer set, with that pointer.

#include "platform/thread_slot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <thread>
#include <vector>

namespace QVCryptoService::platform {
namespace {

std::mutex g_mutex;
std::vector<void*> g_exited;

void RecordExit(void* value) {
  const std::lock_guard lock(g_mutex);
  g_exited.push_back(value);
}

TEST(ThreadSlot, EachThreadSeesItsOwnPointerAndHandsItBackWhenItEnds) {
  static const ThreadSlot slot(&RecordExit);
  ASSERT_TRUE(slot.valid());
  EXPECT_EQ(slot.get(), nullptr);
  int mine = 0;
  slot.set(&mine);
  std::vector<int> values(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < values.size(); ++i) {
    threads.emplace_back([&values, i] {
      EXPECT_EQ(slot.get(), nullptr) << "a new thread starts with no pointer";
      slot.set(&values[i]);
      EXPECT_EQ(slot.get(), &values[i]);
    });
  }
  threads.emplace_back([] { EXPECT_EQ(slot.get(), nullptr); });  // never sets: no exit call
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(slot.get(), &mine) << "other threads changed this thread's pointer";
  const std::lock_guard lock(g_mutex);
  EXPECT_EQ(g_exited.size(), values.size());
  for (int& value : values) {
    EXPECT_NE(std::find(g_exited.begin(), g_exited.end(), &value), g_exited.end());
  }
  slot.set(nullptr);
}

}  // namespace
}  // namespace QVCryptoService::platform
