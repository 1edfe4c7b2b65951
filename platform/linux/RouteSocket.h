#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/Loop.h"

struct mnl_socket;
struct nlattr;
struct nlmsghdr;

namespace Platform::Linux {

// What the kernel answers to a request that it refuses.
struct RouteError {
  int code = 0;      // errno
  std::string text;  // the kernel's own words if it has some, else those for the code
};

// Room for the longest message of either direction: VLAN entries of a port, every second VLAN set.
inline constexpr std::size_t kMaxRouteMessage = 262144;

// A route netlink message while it is built: a header, the fixed part of its type, attributes.
class RouteMessage {
 public:
  template <class Fixed>
  RouteMessage(std::uint16_t type, std::uint16_t flags, const Fixed& fixed)
      : RouteMessage(type, flags, &fixed, sizeof fixed) {}

  // Attributes; false when there is no room for one.
  bool put(std::uint16_t type, const void* data, std::size_t size);
  bool put32(std::uint16_t type, std::uint32_t number) { return put(type, &number, sizeof number); }
  // Attributes put until nestEnd() belong to this one.
  nlattr* nest(std::uint16_t type);
  void nestEnd(nlattr* nest);

  nlmsghdr* header();

 private:
  RouteMessage(std::uint16_t type, std::uint16_t flags, const void* fixed, std::size_t size);
  std::vector<char> buffer_;
};

struct RouteSocketClose {
  void operator()(mnl_socket* socket) const;
};
using RouteSocketPtr = std::unique_ptr<mnl_socket, RouteSocketClose>;

// Requests to the kernel, each answered before the next: the kernel does what is asked for inside
// the call, so nobody waits for anybody.
class RouteRequests {
 public:
  using Visit = std::function<void(const nlmsghdr&)>;

  // Throws std::system_error when the host gives no socket.
  RouteRequests();
  ~RouteRequests();

  // Waits for the acknowledgement, visiting what comes before it; none when all is well.
  std::optional<RouteError> request(RouteMessage& message, const Visit& visit = {});
  // Visits all messages of a dump, read again when it changed meanwhile.
  std::optional<RouteError> dump(RouteMessage& message, const Visit& visit);

 private:
  std::optional<RouteError> answers(std::uint32_t sequence, const Visit& visit, bool& interrupted);

  RouteSocketPtr socket_;
  std::vector<char> buffer_;
  std::uint32_t sequence_ = 0;
};

// Notifications of the kernel.
class RouteEvents {
 public:
  class Listener {
   public:
    virtual void routeMessage(const nlmsghdr& message) = 0;
    // Messages were lost: what they told of has to be read anew. None that is older than this call
    // will be told of.
    virtual void routeMessagesLost() = 0;

   protected:
    ~Listener() = default;
  };

  // Of these groups (RTNLGRP_…), from now on. Throws std::system_error when the host gives no
  // socket; a group that the kernel does not know is left out.
  RouteEvents(Loop& loop, Listener& listener, std::initializer_list<int> groups);
  ~RouteEvents();

 private:
  void handleReadable();
  // What waits is older than what was lost, and would bring back what has gone since.
  void discardAll();

  Listener& listener_;
  RouteSocketPtr socket_;
  std::vector<char> buffer_;
  Readable readable_;
};

}  // namespace Platform::Linux
