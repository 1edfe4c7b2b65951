// The attribute database: the one way to find, make, fill and delete records.

#include <algorithm>

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {
MrpAttrDatabase* MrpSm::mrpAddAttrToDatabase(IntfId intf, std::uint8_t type, std::uint64_t key,
                                             bool fromTransmitRecord) {
  MrpAttrDatabase& record = addAttrToAddPending({intf, type, key});
  record.applicantStateIs(MrpApplicantState::vo);
  record.registrarStateIs(MrpRegistrarState::mt);
  mrpPopulateValueInDatabase(record, fromTransmitRecord);
  return &record;
}

void MrpSm::mrpDeleteAttrFromDatabase() {
  const MrpParseContext& c = *parseContext_;
  addAttrToDeletePending({c.intfId(), c.attributeType(), c.attributeKey()});
}

void MrpSm::mrpPopulateValueInDatabase(MrpAttrDatabase& record, bool fromTransmitRecord) {
  const std::uint8_t type = parseContext_->attributeType();
  record.valueIs(fromTransmitRecord ? mrpLib_->txImage(type) : mrpLib_->rxImage(type));
}

void MrpSm::mrpFillContextFromDatabase(const MrpAttribute& attribute) {
  const auto& [intf, type, key] = attribute;
  if (MrpAttrDatabase* record = mrpGetAttrFromDatabase(intf, type, key, true)) {
    contextIs(intf, type, *record);
    return;
  }
  parseContext_->intfIdIs(intf);
  parseContext_->attributeTypeIs(type);
  parseContext_->attributeKeyIs(key);
}

void MrpSm::contextIs(IntfId intf, std::uint8_t type, const MrpAttrDatabase& record) {
  parseContext_->intfIdIs(intf);
  parseContext_->attributeTypeIs(type);
  parseContext_->attributeKeyIs(record.attributeKey());
  const std::span<const std::uint8_t> value = record.value();
  for (const std::span<std::uint8_t> image : {mrpLib_->rxImage(type), mrpLib_->txImage(type)}) {
    copyOctets(image.data(), value.data(), std::min(value.size(), image.size()));
  }
}

MrpAttrDatabase* MrpSm::anyRecord(const MrpAttribute& attribute) const {
  MrpIntfTypeApplicant* types = typeApplicant(attribute.intfId, attribute.attributeType);
  return types ? types->any(attribute.attributeKey) : nullptr;
}

MrpAttrDatabase* MrpSm::anyRecord() const {
  const MrpParseContext& c = *parseContext_;
  return anyRecord({c.intfId(), c.attributeType(), c.attributeKey()});
}

std::optional<MrpAttrIter> MrpSm::mrpAttrIter(const MrpAttrIter::Key& key) const {
  MrpIntfTypeApplicant* types = typeApplicant(key.intfId, key.attributeType);
  if (!types || types->visibleCount() == 0) return std::nullopt;
  return MrpAttrIter(key, *types);
}

}  // namespace Mrp
