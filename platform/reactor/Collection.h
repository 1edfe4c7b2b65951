#pragma once

#include <vector>

namespace Platform {

// Visits a map in key order while the visitor may add or delete any element: each step goes on at
// the smallest key above the one just handled.
template <class Map, class Visit>
void walkOrdered(Map& map, Visit visit) {
  for (auto it = map.begin(); it != map.end();) {
    const auto key = it->first;
    visit(key, it->second);
    it = map.upper_bound(key);
  }
}

// The same promise for a hashed collection: the keys present at the start, less those that were
// deleted before their turn. The order is that of the container.
template <class Map, class Visit>
void walkHashed(Map& map, Visit visit) {
  std::vector<typename Map::key_type> keys;
  keys.reserve(map.size());
  for (const auto& element : map) keys.push_back(element.first);
  for (const auto& key : keys) {
    if (auto it = map.find(key); it != map.end()) visit(key, it->second);
  }
}

}  // namespace Platform
