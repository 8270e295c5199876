// Classes a test module registers in the namespace "kcostest", written the way a module
// writes its descriptions:
//   kcostest.Widget  a handle class whose native object is a Widget; properties Port (native
//                    double), Name (host array, released), Mode (shared enumeration member,
//                    no release), Secret (private get and set), Expiry (read-only, 19406);
//                    a private constructor, public start, private delete.
//   kcostest.Mode    an enumeration over uint32: alpha = 0, beta = 1, gamma = 2.
//   kcostest.Open    a handle class with a public constructor and a public delete method.
#pragma once

#include <atomic>
#include <string>

#include "foundation/core/except/IException.hpp"
#include "kcos/kcos.hpp"

namespace korvan::test {

struct Widget {
    double fPort = 9920;
    std::string fName = "first";
    std::uint32_t fMode = 1;
    int fPortSets = 0;
    int fSecretSets = 0;
    int fStarts = 0;
    int fDeletes = 0;
};

struct Counters {
    std::atomic<int> fWidgetsCreated{0};
    std::atomic<int> fWidgetsDestroyed{0};
    std::atomic<int> fNameReleases{0};
    std::atomic<int> fModeValuesMade{0};
    std::atomic<int> fOpenDeletes{0};
};
Counters& counters();

/// Registers the namespace and its classes once per process.
void registerTestClasses();
/// The Widget behind a host object of kcostest.Widget (null if none).
Widget* widgetOf(const kxArray* object);

/// The identifier of the host error `f` throws; "" when it throws nothing, "std: <what>"
/// for an exception without identifier.
template <class F>
std::string errorIdOf(F&& f) {
    try {
        f();
    } catch (const foundation::core::except::IMsgIDException& e) {
        return e.GetID();
    } catch (const std::exception& e) {
        return std::string("std: ") + e.what();
    }
    return "";
}

}  // namespace korvan::test
