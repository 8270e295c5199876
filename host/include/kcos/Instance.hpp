// COSInstance: one object of a class. Host object arrays hold shared handles on instances
// (kx::ObjectRef), so several host values may refer to one instance; the instance ends with
// its last handle.
//
// An instance carries its class, the class's instance data (from createInstanceData, given
// back to destroyInstanceData exactly once: on delete of a handle-class object or when the
// last handle goes) and, for classes with an underlying class, its underlying value (an
// enumeration member's uint32).
//
// Threads: instances are used on the interpreter thread; only the deleted flag is atomic.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "korvan/host/Export.hpp"
#include "kx/kxArray.hpp"

namespace kcos {

class COSClass;

class KORVAN_HOST_EXPORT COSInstance final : public kx::Object,
                                             public std::enable_shared_from_this<COSInstance> {
  public:
    ~COSInstance() override;

    const std::string& className() const override;
    COSClass* getClass() const noexcept { return fClass; }
    /// The instance data if `cls` is the instance's class and the instance is live (not
    /// deleted); null otherwise.
    void* getInstanceData(const COSClass* cls) const noexcept;
    bool isDeleted() const noexcept { return fDeleted.load(); }

    /// The underlying value (a 1-by-1 array of the underlying class), or null.
    const kxArray* getUnderlyingValue() const noexcept { return fUnderlying.get(); }
    void setUnderlyingValue(kx::ArrayPtr value) noexcept { fUnderlying = std::move(value); }

  private:
    friend class COSClass;
    friend void markInstanceDeleted(COSInstance& instance);
    explicit COSInstance(COSClass* cls) : fClass(cls) {}

    COSClass* const fClass;
    void* fData = nullptr;
    bool fHasData = false;  // fData came from createInstanceData and is not destroyed yet
    std::atomic<bool> fDeleted{false};
    kx::ArrayPtr fUnderlying;
};

/// Marks the instance deleted and gives its data back to the class (once); later look-ups of
/// its data answer null and user access raises KORVAN:class:InvalidHandle.
void markInstanceDeleted(COSInstance& instance);

/// The instance behind element `index` of an object array, or null (not an object array,
/// index out of range, empty handle, not a class-object instance).
KORVAN_HOST_EXPORT std::shared_ptr<COSInstance> instanceOf(const kxArray* object, kxSize index = 0);

/// The instance data of class `cls` for the live element `index` of `object`, or null.
KORVAN_HOST_EXPORT void* instanceDataOf(const kxArray* object, kxSize index, const COSClass* cls);

}  // namespace kcos
