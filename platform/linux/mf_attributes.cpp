#include "platform/linux/mf_attributes.h"

namespace zevra {

const AttributeBag::Attribute* AttributeBag::Find(REFGUID key) const {
  for (std::size_t index = 0; index < count_; ++index)
    if (attributes_[index].key == key) return &attributes_[index];
  return nullptr;
}

AttributeBag::Attribute* AttributeBag::FindOrAdd(REFGUID key) {
  if (const Attribute* const found = Find(key)) return &attributes_[found - attributes_.data()];
  if (count_ == kCapacity) return nullptr;
  Attribute* const added = &attributes_[count_++];
  added->key = key;
  return added;
}

HRESULT AttributeBag::Get(REFGUID key, UINT32* value) const {
  if (value == nullptr) return E_POINTER;
  const Attribute* const found = Find(key);
  if (found == nullptr) return MF_E_ATTRIBUTENOTFOUND;
  if (found->is_guid) return MF_E_INVALIDTYPE;
  *value = found->number;
  return S_OK;
}

HRESULT AttributeBag::Get(REFGUID key, GUID* value) const {
  if (value == nullptr) return E_POINTER;
  const Attribute* const found = Find(key);
  if (found == nullptr) return MF_E_ATTRIBUTENOTFOUND;
  if (!found->is_guid) return MF_E_INVALIDTYPE;
  *value = found->guid;
  return S_OK;
}

HRESULT AttributeBag::Set(REFGUID key, UINT32 value) {
  Attribute* const attribute = FindOrAdd(key);
  if (attribute == nullptr) return E_OUTOFMEMORY;
  attribute->is_guid = false;
  attribute->number = value;
  return S_OK;
}

HRESULT AttributeBag::Set(REFGUID key, REFGUID value) {
  Attribute* const attribute = FindOrAdd(key);
  if (attribute == nullptr) return E_OUTOFMEMORY;
  attribute->is_guid = true;
  attribute->guid = value;
  return S_OK;
}

}  // namespace zevra
