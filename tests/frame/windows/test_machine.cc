#include "tests/frame/test_machine.h"

#include <filesystem>
#include <random>
#include <system_error>

namespace testsupport {

// Windows has no machine root to redirect: the store is the registry, which Wine keeps in the
// prefix that every test run gets anew.
struct TestMachine::State {
  std::filesystem::path staging;
};

TestMachine::TestMachine() : m_state(std::make_unique<State>()) {
  std::random_device entropy;
  const auto base = std::filesystem::temp_directory_path();
  do {
    m_state->staging = base / ("qvcs-staging-" + std::to_string(entropy()) + std::to_string(entropy()));
  } while (!std::filesystem::create_directory(m_state->staging));
}

TestMachine::~TestMachine() {
  std::error_code ignored;
  std::filesystem::remove_all(m_state->staging, ignored);
}

std::string TestMachine::StagingDirectory() const { return m_state->staging.string(); }

}  // namespace testsupport
