#pragma once

#include <memory>
#include <string>

namespace testsupport {

// TestMachine gives a test a machine for the SSV: on POSIX a fresh temporary machine root, on
// Windows a fresh staging directory and the machine's registry (under Wine, that of a prefix
// made anew for every test run). The directory goes away with it.
class TestMachine {
 public:
  TestMachine();
  ~TestMachine();
  TestMachine(const TestMachine&) = delete;
  TestMachine& operator=(const TestMachine&) = delete;

  // StagingDirectory is the directory to hand to QVSSVCrypto::generateSSV.
  std::string StagingDirectory() const;

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace testsupport
