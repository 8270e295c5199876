// Warnings of the host language: issued without interrupting the running operation.
//
// kxWarningMsgId writes "Warning: <catalogue text>\n" to the warning sink (std::cerr unless
// the interpreter sets another) and remembers it as the last warning, which user code can
// read and clear. Nothing is thrown for a missing catalogue entry: the text then says that
// the entry is missing (see MessageCatalogue::render).
//
// Threads: any thread may issue warnings. fStateLock (in Warnings.cpp) guards the sink and
// the last warning; the sink itself is called under a second lock, fOutputLock, so lines never
// interleave and a sink need not be thread-safe. A sink must not issue warnings itself.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "korvan/host/Export.hpp"
#include "resource_core/BaseMsgID.hpp"

/// Issues the warning of a message record (identifier and filled-in catalogue text).
KORVAN_HOST_EXPORT void kxWarningMsgId(const resource_core::BaseMsgID& msgID);

namespace korvan::host {

/// Receives each warning as one complete line, "Warning: ...\n".
using WarningSink = std::function<void(const std::string& line)>;

/// Replaces the sink and returns the previous one; an empty sink restores std::cerr.
KORVAN_HOST_EXPORT WarningSink setWarningSink(WarningSink sink);

struct LastWarning {
    std::string message;     // UTF-8 text without the "Warning: " prefix; empty if none
    std::string identifier;  // e.g. "KORVAN:restFcnService:ConnectorRestartWarning"; may be empty
};

/// Issues a warning from a text (and an optional identifier), for host code without a record.
KORVAN_HOST_EXPORT void issueWarning(std::string_view message, std::string_view identifier = {});
/// The last warning issued by any thread (both fields empty when none or cleared).
KORVAN_HOST_EXPORT LastWarning lastWarning();
KORVAN_HOST_EXPORT void clearLastWarning();

}  // namespace korvan::host
