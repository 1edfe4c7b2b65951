#pragma once

#include <libmnl/libmnl.h>

#include <cstddef>

namespace Platform::Linux {

// Visits the whole ones of the attributes that stand in `size` octets.
template <class Visit>
void walkAttributes(const void* first, std::size_t size, Visit visit) {
  const auto* attribute = static_cast<const nlattr*>(first);
  auto left = static_cast<std::ptrdiff_t>(size);
  while (left > 0 && mnl_attr_ok(attribute, static_cast<int>(left))) {
    visit(attribute);
    const nlattr* const next = mnl_attr_next(attribute);
    left -= reinterpret_cast<const char*>(next) - reinterpret_cast<const char*>(attribute);
    attribute = next;
  }
}

// Those of a message, behind its fixed part of `fixed` octets.
template <class Visit>
void walkAttributes(const nlmsghdr& message, std::size_t fixed, Visit visit) {
  const std::size_t size = mnl_nlmsg_get_payload_len(&message);
  const std::size_t offset = (fixed + MNL_ALIGNTO - 1) / MNL_ALIGNTO * MNL_ALIGNTO;
  if (offset >= size) return;
  walkAttributes(mnl_nlmsg_get_payload_offset(&message, fixed), size - offset, visit);
}

// Those nested in another one.
template <class Visit>
void walkNested(const nlattr* nest, Visit visit) {
  walkAttributes(mnl_attr_get_payload(nest), mnl_attr_get_payload_len(nest), visit);
}

}  // namespace Platform::Linux
