#include "simulator/eeprom_command.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "simulator/calibration/calibration_record.h"
#include "simulator/calibration/eeprom_document.h"

namespace simulator {
namespace {

std::string ReadFile(const std::string& path, std::string& content) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return path + ": " + std::strerror(errno);
  content.assign(std::istreambuf_iterator<char>(file), {});
  // A directory opens but does not read.
  return std::filesystem::is_directory(path) ? path + ": is a directory" : "";
}

std::string WriteFile(const std::string& path, const char* data, std::size_t size) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(data, static_cast<std::streamsize>(size));
  file.close();
  return file ? "" : path + ": " + std::strerror(errno);
}

std::string Named(const std::string& path, const std::string& problem) {
  return problem.empty() ? "" : path + ": " + problem;
}

}  // namespace

std::string PackFile(const std::string& xml, const std::string& image, ImageForm form) {
  std::string text;
  if (auto problem = ReadFile(xml, text); !problem.empty()) return problem;
  EepromDocument document;
  std::string problem = document.Parse(text);
  std::vector<std::uint8_t> bytes;
  if (problem.empty()) {
    problem = form == ImageForm::kRaw ? document.Encode(bytes) : PackRecord(text, bytes);
  }
  if (!problem.empty()) return Named(xml, problem);
  return WriteFile(image, reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

std::string UnpackFile(const std::string& image, const std::string& xml) {
  std::string content;
  if (auto problem = ReadFile(image, content); !problem.empty()) return problem;
  std::string text;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data());
  if (auto problem = UnpackRecord({bytes, content.size()}, text); !problem.empty()) {
    return Named(image, problem);
  }
  return WriteFile(xml, text.data(), text.size());
}

}  // namespace simulator
