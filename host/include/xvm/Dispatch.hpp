// Posting work to an interpreter thread from any thread.
//
// The steps a poster takes (the connector module spells them out itself):
//
//   auto taskId = xvm::detail::createID();
//   cmddistributor::RunOptions options;
//   auto [distributor, out, err] =
//       xvm::detail::getCmdDistributorAndSinks(xvm::detail::Target{vm}, options);
//   if (!distributor) -> xvm::detail::makeNoDistributorFuture("Origin") (nothing runs)
//   auto iip = std::make_shared<cmddistributor::PackagedTaskIIP>(work, out, err, "Origin");
//   auto request = std::make_shared<cmddistributor::FcnCmdRequest<void>>(iip);
//   xvm::Future<void> f(distributor->enqueueWithFuture(request, options, taskId),
//       std::make_shared<xvm::detail::CmdDistributorTaskReference>(distributor, taskId));
//
// xvm::postTask does exactly that in one call. None of these wait for the interpreter thread,
// so they may be called while holding locks that the posted work does not take.
#pragma once

#include <boost/function.hpp>
#include <memory>
#include <string>
#include <variant>

#include "cmddistributor/CmdDistributor.hpp"
#include "cmddistributor/Types.hpp"
#include "foundation/msg_svc/exchange/IDType.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/contextmgr/McrID.hpp"
#include "kvutil/io/KVSink.hpp"
#include "xvm/Future.hpp"
#include "xvm/XVM.hpp"

namespace xvm {
namespace detail {

/// Where work goes: an interpreter by handle, or by context identifier.
using Target = std::variant<std::shared_ptr<XVM>, kvutil::contextmgr::McrID>;

struct CmdDistributorAndSinks {
    std::shared_ptr<cmddistributor::CmdDistributor> fDistributor;  // null: none
    kvutil::io::KVSinkRef fOutputSink;                             // never null
    kvutil::io::KVSinkRef fErrorSink;                              // never null
};

/// A new, unique task identifier.
KORVAN_HOST_EXPORT foundation::msg_svc::exchange::IDType createID();

/// The target's command distributor (null for a null handle, an unknown or dead McrID, or an
/// interpreter without distributor) and the sinks for the request: those of `runOptions` when
/// set, else the interpreter's, else standard output and standard error.
KORVAN_HOST_EXPORT CmdDistributorAndSinks
getCmdDistributorAndSinks(const Target& target, const cmddistributor::RunOptions& runOptions);

/// The result of a post that found no distributor: a NullCmdDistributorTaskReference and a
/// future failed with RuntimeException status NoDistributor, message
/// "No CmdDistributor available", the given source file and nothing else.
KORVAN_HOST_EXPORT Future<void> makeNoDistributorFuture(std::string sourceFile);

}  // namespace detail

/// Posts `work` to the target's interpreter thread and returns at once. `origin` names the
/// poster in diagnostics. Throws std::invalid_argument "func cannot be empty." for empty work;
/// every other failure (no distributor, queue full, stopped) is in the returned future.
KORVAN_HOST_EXPORT Future<void> postTask(const detail::Target& target, boost::function<void()> work,
                                         std::string origin,
                                         const cmddistributor::RunOptions& runOptions = {});

}  // namespace xvm
