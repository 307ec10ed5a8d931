#include "cli/record_files.h"

#include "cli/io.h"
#include "cli/tool.h"

#include <qvcryptoservice/record_hygiene.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// Files of texts are small; one this large is not one, and is not read into memory.
constexpr std::uintmax_t kMaxTextFile = 64 * 1024 * 1024;

}  // namespace

namespace fs = std::filesystem;

std::vector<std::string> ListFiles(const std::vector<std::string>& paths) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (!fs::is_directory(status)) {
      if (!fs::is_regular_file(status) && !fs::is_symlink(status)) {
        Failed("cannot read " + path + ": not a file or directory");
      }
      files.push_back(path);
      continue;
    }
    std::vector<std::string> found;
    fs::recursive_directory_iterator walk(path, error);
    for (; !error && walk != fs::recursive_directory_iterator(); walk.increment(error)) {
      const fs::file_status entry = walk->symlink_status(error);
      if (!error && (fs::is_regular_file(entry) || fs::is_symlink(entry))) {
        found.push_back(walk->path().string());
      }
    }
    if (error) {
      Failed("cannot read directory " + path + ": " + error.message());
    }
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

std::string ReadWholeFile(const std::string& file) {
  std::error_code error;
  if (fs::is_symlink(fs::symlink_status(file, error))) {
    Failed("cannot read " + file + ": a symbolic link, not followed (name the file it points to)");
  }
  const std::uintmax_t size = fs::file_size(file, error);
  if (error || size > kMaxTextFile) {
    Failed("cannot read " + file + (error ? ": " + error.message() : ": larger than 64 MiB"));
  }
  std::ifstream in(file, std::ios::binary);
  std::string content(static_cast<std::size_t>(size), '\0');
  if (!in || !in.read(content.data(), static_cast<std::streamsize>(content.size())) || in.peek() != EOF) {
    Failed("cannot read " + file);
  }
  return content;
}

std::vector<FileText> TextsOf(const std::string& file, const std::string& content, bool lines) {
  std::vector<FileText> texts;
  std::size_t number = 0;
  for (std::size_t start = 0; start < content.size();) {
    const std::size_t end = lines ? std::min(content.find('\n', start), content.size()) : content.size();
    ++number;
    const std::string_view piece = std::string_view(content).substr(start, end - start);
    std::string text = Trim(piece);
    if (!text.empty()) {
      const std::size_t offset = start + piece.find(text);
      texts.push_back({file, number, offset, std::move(text)});
    }
    start = end + 1;
  }
  return texts;
}

KeyUse FindKeyUse(const std::vector<std::string>& paths, const std::string& name, std::int32_t version) {
  KeyUse use;
  const RecordPolicy policy;
  for (const std::string& file : ListFiles(paths)) {
    bool used = false;
    for (const FileText& text : TextsOf(file, ReadWholeFile(file), true)) {
      const RecordCheck check = CheckRecord(text.text, policy);
      const bool keyed = check.kind == RecordKind::kKeystoreCipherText || check.kind == RecordKind::kHmac;
      if (keyed && check.keyName == name && check.keyVersion > 0 && (version == 0 || check.keyVersion == version)) {
        ++use.texts;
        used = true;
      }
    }
    if (used) {
      use.files.push_back(file);
    }
  }
  return use;
}

}  // namespace qvcrypto
