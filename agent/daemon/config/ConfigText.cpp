#include "agent/daemon/config/ConfigText.h"

#include "agent/daemon/config/Keys.h"

namespace Daemon {

std::string configText(const Config& config, Settings which) {
  const Config first;
  std::string text;
  std::string_view table;
  for (const Key& key : keys()) {
    const Value value = *key.get(&config);
    if (which == Settings::changed && value == *key.get(&first)) continue;
    if (key.table != table) {
      ((text += table.empty() ? "[" : "\n[") += key.table) += "]\n";
      table = key.table;
    }
    ((text += key.name) += " = ") += tomlText(value) + '\n';
  }
  for (const auto& [name, port] : config.port) {
    text += "\n[port.\"" + name + "\"]\n";
    for (const Key& key : portKeys()) {
      if (const auto value = key.get(&port)) {
        ((text += key.name) += " = ") += tomlText(*value) + '\n';
      }
    }
  }
  return text;
}

}  // namespace Daemon
