#include "agent/daemon/config/Check.h"

#include <filesystem>
#include <iostream>

#include "agent/daemon/Log.h"
#include "agent/daemon/config/ConfigText.h"

namespace Daemon {

std::string fileMeant(const std::string& named) {
  if (!named.empty()) return named;
  std::error_code ignored;
  return std::filesystem::exists(kDefaultFile, ignored) ? kDefaultFile : "";
}

int checkConfiguration(const std::string& file, std::span<const OptionText> options) {
  const Log log(standardErrorSink());
  const Loaded loaded = load(file, options);
  for (const std::string& error : loaded.errors) log.error(error);
  if (!loaded.errors.empty()) return Exit::kConfiguration;
  std::cout << configText(loaded.config, Settings::all);
  return std::cout.flush() ? Exit::kDone : Exit::kFailed;
}

}  // namespace Daemon
