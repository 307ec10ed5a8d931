#pragma once

// Checks shared by the record and engine tests.

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

// ExpectComponentId checks a component id: 32 lowercase hex digits, '4' as the 13th and one of
// '8', '9', 'a', 'b' as the 17th.
void ExpectComponentId(const std::string& id);

// ExpectRecordLayout checks a whole record: 2883 bytes, a valid id, a zero byte 32, and index
// bytes that are a permutation of 0..24.
void ExpectRecordLayout(const std::vector<std::uint8_t>& record);

// RecombineRecord recombines every group of a record on its own (without the engine) and
// returns the five group secrets; a failing group fails the test and ends the list early.
std::vector<std::string> RecombineRecord(const std::vector<std::uint8_t>& record);

}  // namespace testsupport
