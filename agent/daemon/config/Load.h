#pragma once

#include <map>
#include <span>
#include <string>
#include <vector>

#include "agent/daemon/config/Config.h"
#include "agent/daemon/config/Keys.h"

namespace Daemon {

// What was given for one option: several texts where it was repeated.
struct OptionText {
  const Key* key = nullptr;
  std::string name;  // as it is written: "--leave-time"
  std::vector<std::string> texts;
};

// A configuration, and everything that is wrong with it.
struct Loaded {
  Config config;
  // One line each: "FILE:LINE: KEY: what is allowed", or "--NAME: KEY: what is allowed".
  std::vector<std::string> errors;
  // Where each key was given, as errors say it, by its path.
  std::map<std::string, std::string> places;
  std::string file;  // empty: none was read
};

// Reads a file (none when `file` is empty) and the options, which win, and checks all of it.
Loaded load(const std::string& file, std::span<const OptionText> options);

// What a running agent cannot take up: an error for each key fixed for life that would change.
std::vector<std::string> changesForLife(const Config& running, const Loaded& later);

}  // namespace Daemon
