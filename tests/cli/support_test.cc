// The tool's helpers; the command lines they refuse are tabled in the end-to-end cases.

#include "cli/arguments.h"
#include "cli/io.h"
#include "cli/output.h"
#include "cli/password.h"
#include "cli/result_names.h"
#include "cli/tool.h"
#include "tests/support/data_table.h"
#include "tests/support/piece_source.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace qvcrypto {
namespace {

using QVCryptoService::PxaResult;
using testsupport::DataRow;
using testsupport::PieceSource;
using testsupport::ReadDataTable;

Invocation Parse(std::vector<const char*> words) {
  words.insert(words.begin(), "qvcrypto");
  return ParseArguments(static_cast<int>(words.size()), words.data());
}

TEST(ParseArguments, SplitsWordsValuesAndFlags) {
  const Invocation invocation =
      Parse({"--machine-root", "/tmp/m", "encrypt", "--keystore=Other", "--binary", "--", "--not-an-option"});
  EXPECT_EQ(invocation.words, (std::vector<std::string>{"encrypt", "--not-an-option"}));
  EXPECT_EQ(invocation.values, (decltype(invocation.values){{"--machine-root", "/tmp/m"}, {"--keystore", "Other"}}));
  EXPECT_EQ(invocation.flags, decltype(invocation.flags){"--binary"});
}

TEST(ParseResultValue, ReadsOnlyWhole64BitNumbers) {
  for (const DataRow& row : ReadDataTable("cli_result_values.tsv")) {
    PxaResult value = 12345;
    const bool refused = row["value"] == "refused";
    EXPECT_EQ(ParseResultValue(row["text"], value), !refused) << row.where;
    EXPECT_EQ(value, refused ? 12345u : std::stoull(row["value"])) << row.where;
  }
}

TEST(ResultNames, NameFamilyAndHexOfEachValue) {
  for (const DataRow& row : ReadDataTable("cli_result_names.tsv")) {
    const PxaResult value = std::stoull(row["hex"], nullptr, 16);
    EXPECT_EQ(Hex(value), row["hex"]) << row.where;
    EXPECT_EQ(FamilyName(value), row["family"]) << row.where;
    EXPECT_EQ(CodeName(value), row["name"]) << row.where;
  }
}

TEST(Trim, RemovesWhiteSpaceAtBothEndsOnly) {
  EXPECT_EQ(Trim(" \r\n\t"), "");
  EXPECT_EQ(Trim("\r\n a b \r\n"), "a b");
}

// What the tool writes for the caller (decrypted text, derived keys) never passes through stdio's
// buffer, which is ordinary heap that nobody wipes. Standard output gets a buffer of the test's
// own (kept for the rest of the run) to see what stdio would have kept.
TEST(WriteStandardOutput, BypassesTheStdioBuffer) {
  static std::array<char, 4096> buffer{};
  ASSERT_EQ(std::fflush(stdout), 0);
  ASSERT_EQ(std::setvbuf(stdout, buffer.data(), _IOFBF, buffer.size()), 0);
  const std::string secret = "stdout residue check 7Fq2Xw9p\n";
  WriteStandardOutput(secret);
  ASSERT_EQ(std::fflush(stdout), 0);
  EXPECT_EQ(std::search(buffer.begin(), buffer.end(), secret.begin(), secret.end()), buffer.end());
}

// A directory of the test's own: creating it fails when another run holds the name.
std::filesystem::path OwnTemporaryDirectory() {
  std::random_device random;
  std::filesystem::path directory;
  do {
    directory = std::filesystem::temp_directory_path() / ("qvcrypto-cli-test-" + std::to_string(random()));
  } while (!std::filesystem::create_directory(directory));
  return directory;
}

// PasswordFromFile is the password ReadPassword takes from the file, or why it refuses it.
std::string PasswordFromFile(const std::string& path) {
  try {
    const QVCryptoService::SecureBlock password =
        ReadPassword(Parse({"hash", "password", "--password-file", path.c_str()}));
    return std::string(password.begin(), password.end());
  } catch (const ToolError& error) {
    return (error.exitCode() == kExitUsage ? "usage error: " : "failed: ") + std::string(error.what());
  }
}

TEST(ReadPassword, TakesTheFirstLineOfAFileOrRefuses) {
  const std::filesystem::path directory = OwnTemporaryDirectory();
  const std::string path = (directory / "password").string();
  for (const DataRow& row : ReadDataTable("cli_password_files.tsv")) {
    std::ofstream(path, std::ios::binary) << row["content"];
    EXPECT_EQ(PasswordFromFile(path), row["result"]) << row.where;
  }
  std::filesystem::remove_all(directory);
}

// ReadAll reads `source` to its end in reads of at most `room` bytes, noting the most that holding
// its white space cost at any time.
std::string ReadAll(TrimmedTextSource& source, std::size_t room, std::size_t& mostHeld) {
  std::string text;
  std::vector<std::uint8_t> out(room);
  std::size_t count = 0;
  mostHeld = source.heldBytes();
  while (source.Read(out, count) && count != 0) {
    text.append(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(count));
    mostHeld = std::max(mostHeld, source.heldBytes());
  }
  return text;
}

TEST(TrimmedTextSource, GivesTheTextWithoutTheWhiteSpaceAroundIt) {
  for (const DataRow& row : ReadDataTable("cli_trimmed_texts.tsv")) {
    for (const std::size_t step : {std::size_t{1}, std::size_t{2}, kStreamPieceSize}) {
      for (const std::size_t room : {std::size_t{1}, std::size_t{3}, kStreamPieceSize}) {
        PieceSource input(row["content"], step);
        std::string result;
        try {
          TrimmedTextSource source("text", input);
          std::size_t mostHeld = 0;
          result = ReadAll(source, room, mostHeld);
        } catch (const ToolError& error) {
          result = std::string("usage error: ") + error.what();
          EXPECT_EQ(error.exitCode(), kExitUsage) << row.where;
        }
        EXPECT_EQ(result, row["result"]) << row.where << ", pieces of " << step << ", reads of " << room;
      }
    }
  }
}

// White space runs far longer than a piece of input: inside the text they come back byte for
// byte; after it, and inside, holding them costs a few bytes whatever their length.
TEST(TrimmedTextSource, HoldsLongWhiteSpaceInAFewBytes) {
  const std::string inside =
      std::string(3 * kStreamPieceSize, ' ') + "\r\n\r\n" + std::string(100, '\t') + std::string(30, ' ') + "\v\f";
  const std::string text = "abc" + inside + "def";
  const std::string input = "\n" + text + std::string(16 * kStreamPieceSize, ' ') + "\r\n";
  for (const std::size_t room : {std::size_t{5}, kStreamPieceSize}) {
    PieceSource pieces(input, kStreamPieceSize);
    TrimmedTextSource source("text", pieces);
    std::size_t mostHeld = 0;
    EXPECT_TRUE(ReadAll(source, room, mostHeld) == text) << "reads of " << room;
    EXPECT_LT(mostHeld, 1024U) << "reads of " << room;
  }
}

}  // namespace
}  // namespace qvcrypto
