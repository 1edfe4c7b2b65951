// Decoding of one vector (IEEE 802.1Q 10.8.2): FirstValue, then the packed events, each staged as a
// parsed attribute with the value that it applies to.

#include <new>

#include "mrp/MrpMsrp/MsrpFirstValue.h"
#include "mrp/MrpSm/env/EventLogs.h"
#include "mrp/MrpSm/pdu/EventPacking.h"
#include "mrp/MrpSm/pdu/MrpduLayout.h"
#include "mrp/MrpSm/rx/FirstValues.h"
#include "mrp/MrpSm/rx/Receiver.h"

namespace Mrp {
namespace {

using Platform::PktReader;

template <class Value>
constexpr bool isFourPacked = requires(Value value) {
  value.listenerEvent();
};

}  // namespace

MrpParseStatus Receiver::parseVector(Pkt& pkt) {
  MrpParseStatus status = mrpParseContinue;
  const bool known =
      env_.values.with(env_.application, env_.context->attributeType(), [&](auto& slots) {
        PktReader reader(pkt);
        if (readFirstValue(reader, slots.rx)) {
          if (env_.trace.isOn(8)) traceFirstValue(env_.trace, slots.rx);
          status = parseEvents(pkt, slots.rx);
        } else {
          status = firstValueCutOff(pkt);
        }
      });
  return known ? status : unidentifiedAttributeType();
}

// What is left of a FirstValue that the buffer cuts off is no end mark.
MrpParseStatus Receiver::firstValueCutOff(Pkt& pkt) {
  pkt.headDel(pkt.size());
  return malformed();
}

MrpParseStatus Receiver::unidentifiedAttributeType() {
  const MrpParseContext& at = *env_.context;
  const unsigned type = at.attributeType();
  MRP_TRACE(env_.trace, 4, " ######## Unidentified attribute type = " << type);
  env_.counters->numOfUnknownAttributeTypeInc();
  env_.discarded(MrpObserver::Reason::unknownAttributeType, {at.intfId(), at.attributeType(), 0});
  logEvent(env_.eventLog, kMrpError, [&] {
    return formatText("Unidentified attribute type %d received on %s", type, at.intfId().name());
  });
  return mrpParseContinue;
}

// `value` is the receive record that holds the FirstValue. Where there are four-packed events they
// follow the three-packed ones. No application runs in here, so the context tells of the last event
// only.
template <class Value>
MrpParseStatus Receiver::parseEvents(Pkt& pkt, Value& value) {
  MrpParseContext& context = *env_.context;
  const std::uint16_t n = context.numberOfValues();
  const std::size_t three = threePackedOctets(n);
  const std::size_t packed = three + (isFourPacked<Value> ? fourPackedOctets(n) : 0);
  if (n == 0) leaveAllOnlyVector();
  if (packed > pkt.size()) return malformedVector(packed, pkt.size());
  const std::uint8_t type = context.attributeType();
  Queue& queue = env_.info.type(type)->first ? firstQueue_ : queue_;
  const bool stages = !recycled_ && !env_.status.flood() && makeRoom(queue, n, sizeof value);
  const bool told = !stages || env_.observed();
  MrpObserver::Event fact{MrpObserver::Direction::received, false, 0, {context.intfId(), type, 0}};
  const std::uint8_t* octets = pkt.data();
  forEachThreePacked(octets, n, [&](std::uint8_t event, std::uint32_t index) {
    if constexpr (isFourPacked<Value>) {
      value.listenerEventIs(fourPackedEvent(octets + three, index));
    }
    if (index > 0) nextValue(value, env_.trace);
    const std::uint64_t key = keyOf(value);
    context.attributeKeyIs(key);
    context.attributeEventIs(event);
    if (told) [[unlikely]]
      stages ? tellEvent(fact, key, event) : tellUnstaged(fact, key, event);
    // A key that comes twice keeps one record, with the later event and value, and is queued twice.
    if (stages) queue.push_back(staged_.is<sizeof value>(key, event, &value));
  });
  context.eventsCounterInc(n);
  if constexpr (isFourPacked<Value>) {
    MRP_TRACE(env_.trace, 8,
              " attributeListBytesLeft before accounting this vector ="
                  << context.attributeListBytesLeft());
  }
  context.attributeListBytesLeftDec(packed + context.attributeLength() + kVectorHeaderSize);
  pkt.headDel(packed);
  return mrpParseContinue;
}

void Receiver::tellEvent(MrpObserver::Event& fact, std::uint64_t key, std::uint8_t event) const {
  fact.event = event;
  fact.attribute.attributeKey = key;
  env_.observe(&MrpObserver::event, fact);
}

void Receiver::tellUnstaged(MrpObserver::Event& fact, std::uint64_t key, std::uint8_t event) const {
  tellEvent(fact, key, event);
  if (!recycled_ && !env_.status.flood()) return;
  MRP_TRACE(env_.trace, 8, "Recycled Pkt. Returning after parsing");
  env_.discarded(MrpObserver::Reason::recycled, fact.attribute);
}

// The log's first number is the octets that the events need, not the number of values.
MrpParseStatus Receiver::malformedVector(std::size_t packed, std::size_t left) {
  env_.context->attributeListBytesLeftIs(0);
  logEvent(env_.eventLog, kMrpError, [&] {
    return formatText("Number of values %d does not match with the packet bytes %d received on %s",
                      packed, left, env_.context->intfId().name());
  });
  return malformed();
}

// A vector that is a LeaveAll alone stages nothing; the context passes through the LeaveAll event.
void Receiver::leaveAllOnlyVector() {
  MrpParseContext& context = *env_.context;
  context.attributeKeyIs(0);
  if (context.leaveAll() != 1) return;
  context.attributeEventIs(kLeaveAllEvent);
  context.eventsCounterInc(1);
  context.attributeEventIs(static_cast<std::uint8_t>(MrpThreePackedEvent::in));
}

// For the events of one vector. Without it they are lost, and nothing else is.
bool Receiver::makeRoom(Queue& queue, std::size_t events, std::size_t valueSize) {
  try {
    staged_.typeIs(env_.context->attributeType(), events, valueSize);
    if (queue.capacity() < queue.size() + events) queue.reserve(2 * (queue.size() + events));
    return true;
  } catch (const std::bad_alloc&) {
    const MrpParseContext& at = *env_.context;
    outOfMemory({at.intfId(), at.attributeType(), 0});
    return false;
  }
}

}  // namespace Mrp
