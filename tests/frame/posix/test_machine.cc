#include "tests/frame/test_machine.h"

#include "tests/platform/machine_root_fixture.h"

namespace testsupport {

struct TestMachine::State {
  TempMachineRoot root;
};

TestMachine::TestMachine() : m_state(std::make_unique<State>()) {}
TestMachine::~TestMachine() = default;

std::string TestMachine::StagingDirectory() const { return m_state->root.string(); }

}  // namespace testsupport
