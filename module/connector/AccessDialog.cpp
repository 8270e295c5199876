// showAccessDialogWindow: the module's one entry to the host's consent dialog.
#include "connector/Api.hpp"
#include "kcos/Client.hpp"
#include "kcos/Interned.hpp"

namespace rest::kv::connector::api {

bool showAccessDialogWindow() {
    kcos::COSClient* client = COSGetPublicClient();
    const kcos::InternedString function = kcos::internal::makeInterned("showDialog");
    const kcos::InternedString package = kcos::internal::makeInterned("korvan.internal.rest");
    kxArray* output = nullptr;
    // The final flag lets the host report an error of the dialog itself; the module sees
    // only whether the call succeeded.
    const bool called = omCallMethod(package, function, client, 1, &output, 0, nullptr, true);
    const bool consented = called && kxIsLogicalScalarTrue(output);
    kxReleaseArray(output);
    return consented;
}

}  // namespace rest::kv::connector::api
