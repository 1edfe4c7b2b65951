#include "tests/replay/Support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/replay/JsonMembers.h"

namespace ReplayTest {
namespace {

// Little-endian.
void put(std::string& to, std::uint64_t number, std::size_t size) {
  for (; size > 0; --size, number >>= 8) to += static_cast<char>(number & 0xff);
}

std::string inQuotes(const std::string& argument) {
  std::string text = "'";
  for (const char c : argument) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + "'";
}

}  // namespace

TempDir::TempDir() : path_(testing::TempDir() + "replayXXXXXX") {
  if (!::mkdtemp(path_.data())) throw std::runtime_error("no temporary folder");
}

TempDir::~TempDir() { std::filesystem::remove_all(path_); }

std::string TempDir::file(const std::string& name, const std::string& content) const {
  std::ofstream(path(name), std::ios::binary) << content;
  return path(name);
}

std::string contentOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::string source(const std::string& path) { return std::string(MRP_SOURCE_DIR) + "/" + path; }

Result mrp(const std::vector<std::string>& arguments) {
  const TempDir dir;
  std::string command = "DISABLE_LEAVE_ALL_RANDOMIZATION=1 " + inQuotes(MRP_BINARY);
  for (const std::string& argument : arguments) command += " " + inQuotes(argument);
  command += " >" + inQuotes(dir.path("out")) + " 2>" + inQuotes(dir.path("err")) + " </dev/null";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(dir.path("out")),
          contentOf(dir.path("err"))};
}

std::string pcap(const std::vector<Packet>& packets, std::uint32_t linkType) {
  std::string file;
  put(file, 0xa1b2c3d4, 4);
  put(file, 2, 2);
  put(file, 4, 2);
  put(file, 0, 8);
  put(file, 262144, 4);
  put(file, linkType, 4);
  for (const Packet& packet : packets) {
    put(file, packet.seconds, 4);
    put(file, packet.microseconds, 4);
    put(file, packet.frame.size(), 4);
    put(file, packet.frame.size(), 4);
    file.append(packet.frame.begin(), packet.frame.end());
  }
  return file;
}

Cli::Octets octets(const std::string& hex) { return Cli::octetsFromHex(hex).value(); }

Cli::Octets mvrpFrame(const std::string& pdu) {
  return octets("0180c200002100a0c900001088f5" + pdu);
}

}  // namespace ReplayTest
