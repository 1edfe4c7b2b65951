#include "platform/linux/PacketPam.h"

#include <utility>

namespace Platform::Linux {

PacketPam::PacketPam(Ptr<Loop> loop, Ptr<RxBatch> batch, const std::string& interface,
                     const Host::PamConfig& config)
    : loop_(std::move(loop)),
      batch_(std::move(batch)),
      socket_(interface, config.filter, config.listenAddr),
      maxRxPktData_(config.maxRxPktData),
      readable_(*loop_) {
  readable_.bind<&PacketPam::handleReadable>(this);
  readable_.watch(socket_.fd());
}

PacketPam::~PacketPam() { close(); }

void PacketPam::close() {
  if (socket_.fd() < 0) return;
  counters();
  readable_.unwatch();
  waiting_.clear();
  socket_.close();
}

const PacketPam::Counters& PacketPam::counters() const {
  counters_.dropped += const_cast<PacketSocket&>(socket_).dropped();
  return counters_;
}

Ptr<Pkt> PacketPam::rxPkt() {
  if (waiting_.empty()) receive(1);
  if (waiting_.empty()) return nullptr;
  Ptr<Pkt> pkt = std::move(waiting_.front());
  waiting_.pop_front();
  return pkt;
}

void PacketPam::txPktIs(Ptr<Pkt> pkt) {
  if (socket_.fd() < 0 || !pkt) return;
  const int error = socket_.send(pkt->octets());
  error == 0 ? ++counters_.sent : ++counters_.sendErrors[error];
}

bool PacketPam::rxPktWaiting() const { return !waiting_.empty() || socket_.waiting(); }

// Each frame that this turn has brought is told of, unless the reader has closed the endpoint or
// has taken the frame already.
void PacketPam::handleReadable() {
  const Ptr<PacketPam> keep(this);
  receive(RxBatch::kFrames);
  if (waiting_.empty()) socket_.error();
  for (std::size_t left = waiting_.size(); left > 0 && !waiting_.empty(); --left) {
    loop_->timePasses();
    onRxPkt().notify();
  }
}

void PacketPam::receive(std::size_t most) {
  const std::size_t before = waiting_.size();
  socket_.receive(*batch_, most, maxRxPktData_, waiting_);
  counters_.received += waiting_.size() - before;
}

}  // namespace Platform::Linux
