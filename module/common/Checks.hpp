// Presence checks shared by the connector operations, and the check that reads one text
// argument from a host value.
//
// The presence checks copy the tracked client out of its holder, so that the caller keeps the
// client alive for the length of its call even if the service goes away meanwhile.
// Threads: any thread; the holders are created race-free on first use.
// Errors: the module's catalogue errors (ErrorCatalogue.hpp), thrown by value.
#pragma once

#include <memory>
#include <string>

#include "korvanconnector/vshupdateflip/IVshupdateflipClient.hpp"
#include "kx/kxArray.hpp"
#include "rest/kv/connectorclient/RestFcnConnectorClient.hpp"

namespace rest::kv::connector {

/// The tracked connector client; raises KORVAN:restFcnService:NoConnectorFound when there is
/// none (no client arrived yet, or it has been removed).
std::shared_ptr<connectorclient::RestFcnConnectorClient> requireConnectorClient();

/// The update-flip client found by UpdateFlipClientHolder; raises
/// KORVAN:restFcnService:NoUpdateClientFound when the holder has none.
std::shared_ptr<korvanconnector::vshupdateflip::IVshupdateflipClient> requireUpdateFlipClient();

/// The text of a host value that must be one piece of text, as UTF-16 code units.
/// shapeFlag 1 accepts a character row vector or the 0-by-0 character array; 0 accepts a
/// character array of any shape (its characters, column-major). A string array must hold
/// exactly one element. Raises KORVAN:string:MustBeStringScalarOrCharacterVector for null,
/// other classes and other shapes, KORVAN:string:MissingNotSupported for the missing string.
std::u16string getStringArgument(const kxArray* value, int shapeFlag);

}  // namespace rest::kv::connector
