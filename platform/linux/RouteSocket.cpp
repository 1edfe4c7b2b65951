#include "platform/linux/RouteSocket.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "platform/linux/ReceiveBuffer.h"
#include "platform/linux/RouteAttributes.h"

namespace Platform::Linux {
namespace {

// Dumps that are still interrupted then are taken as they are: notifications tell the rest.
constexpr int kDumpTries = 5;
// So that a flood of messages leaves the loop its turns.
constexpr int kMessagesATurn = 256;

RouteSocketPtr opened(int flags) {
  RouteSocketPtr socket(mnl_socket_open2(NETLINK_ROUTE, flags | SOCK_CLOEXEC));
  if (!socket || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) != 0) {
    throw std::system_error(errno, std::generic_category(), "no route netlink socket");
  }
  return socket;
}

// The last reading failed for want of room, in the kernel's buffer or in ours.
bool full() { return errno == ENOBUFS || errno == ENOSPC; }

RouteError errorOf(const nlmsghdr& message) {
  const auto* const error = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(&message));
  RouteError result{-error->error, std::generic_category().message(-error->error)};
  if (!(message.nlmsg_flags & NLM_F_ACK_TLVS)) return result;
  std::size_t offset = sizeof *error;
  if (!(message.nlmsg_flags & NLM_F_CAPPED)) offset += error->msg.nlmsg_len - sizeof error->msg;
  walkAttributes(message, offset, [&](const nlattr* attribute) {
    const bool text = mnl_attr_get_type(attribute) == NLMSGERR_ATTR_MSG;
    if (text && mnl_attr_validate(attribute, MNL_TYPE_NUL_STRING) == 0) {
      result.text = mnl_attr_get_str(attribute);
    }
  });
  return result;
}

}  // namespace

void RouteSocketClose::operator()(mnl_socket* socket) const { mnl_socket_close(socket); }

RouteMessage::RouteMessage(std::uint16_t type, std::uint16_t flags, const void* fixed,
                           std::size_t size)
    : buffer_(kMaxRouteMessage) {
  nlmsghdr* const header = mnl_nlmsg_put_header(buffer_.data());
  header->nlmsg_type = type;
  header->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
  std::memcpy(mnl_nlmsg_put_extra_header(header, size), fixed, size);
}

nlmsghdr* RouteMessage::header() { return reinterpret_cast<nlmsghdr*>(buffer_.data()); }

bool RouteMessage::put(std::uint16_t type, const void* data, std::size_t size) {
  return mnl_attr_put_check(header(), buffer_.size(), type, size, data);
}

nlattr* RouteMessage::nest(std::uint16_t type) { return mnl_attr_nest_start(header(), type); }

void RouteMessage::nestEnd(nlattr* nest) { mnl_attr_nest_end(header(), nest); }

RouteRequests::RouteRequests() : socket_(opened(0)), buffer_(kMaxRouteMessage) {
  int on = 1;
  mnl_socket_setsockopt(socket_.get(), NETLINK_EXT_ACK, &on, sizeof on);
  mnl_socket_setsockopt(socket_.get(), NETLINK_CAP_ACK, &on, sizeof on);
  mnl_socket_setsockopt(socket_.get(), NETLINK_GET_STRICT_CHK, &on, sizeof on);
}

RouteRequests::~RouteRequests() = default;

std::optional<RouteError> RouteRequests::request(RouteMessage& message, const Visit& visit) {
  nlmsghdr* const header = message.header();
  header->nlmsg_flags |= NLM_F_ACK;
  header->nlmsg_seq = ++sequence_;
  if (mnl_socket_sendto(socket_.get(), header, header->nlmsg_len) < 0) {
    return RouteError{errno, std::generic_category().message(errno)};
  }
  bool interrupted = false;
  return answers(sequence_, visit, interrupted);
}

std::optional<RouteError> RouteRequests::dump(RouteMessage& message, const Visit& visit) {
  nlmsghdr* const header = message.header();
  header->nlmsg_flags |= NLM_F_DUMP;
  std::optional<RouteError> error;
  bool interrupted = true;
  for (int i = 0; interrupted && i < kDumpTries; ++i) {
    interrupted = false;
    header->nlmsg_seq = ++sequence_;
    if (mnl_socket_sendto(socket_.get(), header, header->nlmsg_len) < 0) {
      return RouteError{errno, std::generic_category().message(errno)};
    }
    error = answers(sequence_, visit, interrupted);
  }
  return error;
}

std::optional<RouteError> RouteRequests::answers(std::uint32_t sequence, const Visit& visit,
                                                 bool& interrupted) {
  while (true) {
    const ssize_t size = mnl_socket_recvfrom(socket_.get(), buffer_.data(), buffer_.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return RouteError{errno, std::generic_category().message(errno)};
    int left = static_cast<int>(size);
    const auto* message = reinterpret_cast<const nlmsghdr*>(buffer_.data());
    for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
      if (message->nlmsg_seq != sequence) continue;  // of a request that was given up
      interrupted |= (message->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
      if (message->nlmsg_type == NLMSG_DONE) return std::nullopt;
      if (message->nlmsg_type != NLMSG_ERROR) {
        if (visit) visit(*message);
      } else if (mnl_nlmsg_get_payload_len(message) >= sizeof(nlmsgerr)) {
        RouteError error = errorOf(*message);
        if (error.code == 0) return std::nullopt;
        return error;
      }
    }
  }
}

RouteEvents::RouteEvents(Loop& loop, Listener& listener, std::initializer_list<int> groups)
    : listener_(listener),
      socket_(opened(SOCK_NONBLOCK)),
      buffer_(kMaxRouteMessage),
      readable_(loop) {
  for (int group : groups) {
    mnl_socket_setsockopt(socket_.get(), NETLINK_ADD_MEMBERSHIP, &group, sizeof group);
  }
  const int fd = mnl_socket_get_fd(socket_.get());
  enlargeReceiveBuffer(fd);
  readable_.bind<&RouteEvents::handleReadable>(this);
  readable_.watch(fd);
}

RouteEvents::~RouteEvents() = default;

// A message longer than the buffer counts as lost.
void RouteEvents::handleReadable() {
  for (int i = 0; i < kMessagesATurn; ++i) {
    const ssize_t size = mnl_socket_recvfrom(socket_.get(), buffer_.data(), buffer_.size());
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && full()) {
      discardAll();
      return listener_.routeMessagesLost();
    }
    if (size <= 0) return;
    int left = static_cast<int>(size);
    const auto* message = reinterpret_cast<const nlmsghdr*>(buffer_.data());
    for (; mnl_nlmsg_ok(message, left); message = mnl_nlmsg_next(message, &left)) {
      if (message->nlmsg_type >= NLMSG_MIN_TYPE) listener_.routeMessage(*message);
    }
  }
}

void RouteEvents::discardAll() {
  while (mnl_socket_recvfrom(socket_.get(), buffer_.data(), buffer_.size()) >= 0 || full() ||
         errno == EINTR) {
  }
}

}  // namespace Platform::Linux
