// COSEnumInfo: the description of one member of an enumeration class, added to the class
// under definition with COSClass::addEnumMember (in definition order).
//
// getValue answers the member as a host value (an object of the enumeration class). The
// value is shared: the host and every caller only borrow it (share or duplicate it to keep
// it) and never release it; the description owns it.
//
// Ownership: allocated with the host allocator; belongs to the class once added.
// Threads: called on the interpreter thread only.
#pragma once

#include <cstddef>

#include "korvan/host/Export.hpp"

struct kxArray;

namespace kcos {

class KORVAN_HOST_EXPORT COSEnumInfo {
  public:
    static void* operator new(std::size_t size);
    static void operator delete(void* block) noexcept;

    COSEnumInfo() = default;
    COSEnumInfo(const COSEnumInfo&) = delete;
    COSEnumInfo& operator=(const COSEnumInfo&) = delete;

    virtual ~COSEnumInfo();
    virtual const char* getName() const = 0;
    virtual const char* getDescription() const;          // ""
    virtual const char* getDetailedDescription() const;  // ""
    virtual kxArray* getValue() = 0;
    virtual bool isDestructible() const;  // true
    virtual bool isHidden() const;        // false: listed with the members
};

}  // namespace kcos
