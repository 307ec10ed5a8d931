// Unit tests of the tool's helpers: argument parsing, result values, password sources and the
// known-answer tests it runs through the library.

#include "cli/arguments.h"
#include "cli/io.h"
#include "cli/kat.h"
#include "cli/password.h"
#include "cli/result_names.h"
#include "cli/tool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace qvcrypto {
namespace {

using QVCryptoService::PxaResult;

Invocation Parse(std::vector<const char*> words) {
  words.insert(words.begin(), "qvcrypto");
  return ParseArguments(static_cast<int>(words.size()), words.data());
}

int UsageCode(std::vector<const char*> words) {
  try {
    (void)Parse(std::move(words));
  } catch (const ToolError& error) {
    return error.exitCode();
  }
  return kExitOk;
}

TEST(ParseArguments, SplitsWordsValuesAndFlags) {
  const Invocation invocation =
      Parse({"--machine-root", "/tmp/m", "encrypt", "--keystore=Other", "--binary", "--", "--not-an-option"});
  EXPECT_EQ(invocation.words, (std::vector<std::string>{"encrypt", "--not-an-option"}));
  ASSERT_NE(invocation.Value("--machine-root"), nullptr);
  EXPECT_EQ(*invocation.Value("--machine-root"), "/tmp/m");
  ASSERT_NE(invocation.Value("--keystore"), nullptr);
  EXPECT_EQ(*invocation.Value("--keystore"), "Other");
  EXPECT_TRUE(invocation.Has("--binary"));
  EXPECT_FALSE(invocation.Has("--force"));
  EXPECT_EQ(invocation.Value("--password-file"), nullptr);
}

struct BadCommandLine {
  std::vector<const char*> words;
  const char* why;
};

class ParseArgumentsRefuses : public ::testing::TestWithParam<BadCommandLine> {};

TEST_P(ParseArgumentsRefuses, WithUsageError) { EXPECT_EQ(UsageCode(GetParam().words), kExitUsage) << GetParam().why; }

INSTANTIATE_TEST_SUITE_P(Table, ParseArgumentsRefuses,
                         ::testing::ValuesIn(std::vector<BadCommandLine>{
                             {{"encrypt", "--password", "hunter2"}, "a password on the command line"},
                             {{"encrypt", "--password=hunter2"}, "a password on the command line, joined"},
                             {{"encrypt", "--colour"}, "an unknown option"},
                             {{"encrypt", "--keystore"}, "a value missing at the end"},
                             {{"encrypt", "--keystore="}, "an empty value"},
                             {{"encrypt", "--binary=yes"}, "a flag with a value"},
                             {{"decrypt", "--keystore", "A", "--keystore", "B"}, "an option given twice"},
                         }));

struct ResultCase {
  const char* text;
  bool parses;
  PxaResult value;
};

class ParseResultValueTable : public ::testing::TestWithParam<ResultCase> {};

TEST_P(ParseResultValueTable, ReadsOnlyWhole64BitNumbers) {
  PxaResult value = 12345;
  EXPECT_EQ(ParseResultValue(GetParam().text, value), GetParam().parses) << GetParam().text;
  EXPECT_EQ(value, GetParam().parses ? GetParam().value : 12345u) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Table, ParseResultValueTable,
                         ::testing::ValuesIn(std::vector<ResultCase>{
                             {"0", true, 0},
                             {"11", true, 11},
                             {"0xb", true, 11},
                             {"0XB", true, 11},
                             {"0x0", true, 0},
                             {"4294967295", true, 0xFFFFFFFFu},
                             {"18446744073709551615", true, ~PxaResult{0}},
                             {"0xffffffffffffffff", true, ~PxaResult{0}},
                             {"18446744073709551616", false, 0},
                             {"0x10000000000000000", false, 0},
                             {"", false, 0},
                             {"0x", false, 0},
                             {"-1", false, 0},
                             {"+1", false, 0},
                             {" 1", false, 0},
                             {"1 ", false, 0},
                             {"12abc", false, 0},
                             {"0xg", false, 0},
                             {"1e3", false, 0},
                         }));

TEST(ResultNames, NameEveryTabledCodeAndNothingElse) {
  EXPECT_EQ(CodeName(0), "PXA_OK");
  EXPECT_EQ(CodeName(11), "PXA_ERR_SSV_FILE");
  EXPECT_EQ(CodeName(12), "");
  EXPECT_EQ(CodeName(0xFFFFFFFFull), "PXA_ERR_KEYSTORE_NOT_CONFIGURED");
  EXPECT_EQ(CodeName(~PxaResult{0}), "");
  EXPECT_EQ(CodeName(0x100000000ull), "KS_SUCCESS");
  EXPECT_EQ(CodeName(0x100000013ull), "KS_ERR_RESERVED_19");
  EXPECT_EQ(CodeName(0x100000014ull), "");
  EXPECT_EQ(CodeName(0x200000005ull), "");
  EXPECT_EQ(FamilyName(5), "library");
  EXPECT_EQ(FamilyName(0x100000004ull), "keystore");
  EXPECT_EQ(FamilyName(0x21c800064ull), "OpenSSL");
  EXPECT_EQ(FamilyName(0x300000000ull), "none");
  EXPECT_EQ(Hex(0), "0x0");
  EXPECT_EQ(Hex(~PxaResult{0}), "0xffffffffffffffff");
}

TEST(KeystoreResult, TagsTheCodeWithTheKeystoreFamily) {
  EXPECT_EQ(KeystoreResult(QVCryptoService::KS_ERR_SSV_NOT_INITIALIZED), 0x10000000aull);
  EXPECT_EQ(QVCryptoService::PxaErrorReason(KeystoreResult(QVCryptoService::KS_ERR_NO_SSV_PERMISSION)),
            "KEYSTORE init failure due to no permission to read SSV data");
}

TEST(Trim, RemovesWhiteSpaceAtBothEndsOnly) {
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(Trim(" \r\n\t"), "");
  EXPECT_EQ(Trim("abc\n"), "abc");
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

struct PasswordFileCase {
  std::string content;
  std::string password;  // empty: a usage error is expected
};

class PasswordFile : public ::testing::TestWithParam<PasswordFileCase> {};

TEST_P(PasswordFile, UsesTheFirstLineOrRefuses) {
  // Distinct contents give distinct names, so the cases never share a file.
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() /
      ("qvcrypto-password-test-" + std::to_string(std::hash<std::string>{}(GetParam().content)));
  {
    std::ofstream file(path, std::ios::binary);
    file << GetParam().content;
  }
  const std::string pathText = path.string();
  const Invocation invocation = Parse({"hash", "password", "--password-file", pathText.c_str()});
  int code = kExitOk;
  std::string password;
  try {
    const QVCryptoService::SecureBlock block = ReadPassword(invocation);
    password.assign(block.begin(), block.end());
  } catch (const ToolError& error) {
    code = error.exitCode();
  }
  std::filesystem::remove(path);
  if (GetParam().password.empty()) {
    EXPECT_EQ(code, kExitUsage) << "content of " << GetParam().content.size() << " bytes was accepted";
  } else {
    EXPECT_EQ(code, kExitOk);
    EXPECT_EQ(password, GetParam().password);
  }
}

INSTANTIATE_TEST_SUITE_P(Table, PasswordFile,
                         ::testing::ValuesIn(std::vector<PasswordFileCase>{
                             {"hunter2", "hunter2"},
                             {"hunter2\n", "hunter2"},
                             {"hunter2\r\n", "hunter2"},
                             {"hunter2\nsecond line\n", "hunter2"},
                             {" spaced out ", " spaced out "},
                             {"", ""},
                             {"\n", ""},
                             {"\r\n", ""},
                             {std::string("ab\0cd", 5), ""},
                         }));

TEST(PasswordSources, RefuseWhatIsNotThere) {
  const Invocation missingFile = Parse({"hash", "password", "--password-file", "/nonexistent/qvcrypto/password"});
  EXPECT_THROW((void)ReadPassword(missingFile), ToolError);
  const Invocation unsetVariable = Parse({"hash", "password", "--password-env", "QVCRYPTO_TEST_SURELY_UNSET"});
  EXPECT_THROW((void)ReadPassword(unsetVariable), ToolError);
  const Invocation twoSources =
      Parse({"hash", "password", "--password-env", "HOME", "--password-file", "/etc/hostname"});
  EXPECT_THROW((void)ReadPassword(twoSources), ToolError);
}

TEST(KnownAnswerTests, AllPassThroughTheLibrary) {
  const std::vector<KatResult> results = RunKnownAnswerTests();
  ASSERT_GE(results.size(), 6u);
  for (const KatResult& result : results) {
    EXPECT_TRUE(result.passed) << result.name << ": " << result.detail;
  }
}

TEST(HexToBytes, DecodesLowerCaseHexOnly) {
  EXPECT_EQ(HexToBytes("00ff10"), (std::vector<unsigned char>{0x00, 0xff, 0x10}));
  EXPECT_TRUE(HexToBytes("").empty());
  EXPECT_TRUE(HexToBytes("0").empty());
  EXPECT_TRUE(HexToBytes("0g").empty());
  EXPECT_TRUE(HexToBytes("FF").empty());
}

}  // namespace
}  // namespace qvcrypto
