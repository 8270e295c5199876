// The result of posting work to an interpreter: xvm::Future<void> pairs the boost::future<void>
// of the request with a task reference that names the queued task (distributor and task
// identifier) or, when no distributor existed, says so.
//
// Dropping a Future never waits for the work: the future comes from a promise, whose
// destructor does not block. Continuations are not supported on task references: then()
// throws std::runtime_error "then is unsupported".
//
// Threads: a Future is used by one thread at a time (like boost::future); task references are
// immutable and may be shared.
#pragma once

#include <boost/function.hpp>
#include <chrono>
#include <memory>

#include "cmddistributor/CmdDistributor.hpp"
#include "foundation/msg_svc/exchange/IDType.hpp"
#include "korvan/host/Export.hpp"
#include "kvutil/BoostFuture.hpp"

namespace xvm {
namespace detail {

/// Names one posted task.
class KORVAN_HOST_EXPORT TaskReference {
  public:
    virtual ~TaskReference();
    /// The task identifier; nil for the no-distributor reference.
    virtual foundation::msg_svc::exchange::IDType getTaskID() const = 0;
    /// Removes the task from the queue if it has not started (its future then fails with
    /// status Cancelled); returns whether it did.
    virtual bool cancel() const = 0;
    /// Always throws std::runtime_error "then is unsupported".
    [[noreturn]] void then(const boost::function<void()>& continuation) const;
};

class KORVAN_HOST_EXPORT CmdDistributorTaskReference final : public TaskReference {
  public:
    CmdDistributorTaskReference(std::shared_ptr<cmddistributor::CmdDistributor> distributor,
                                foundation::msg_svc::exchange::IDType taskId);
    foundation::msg_svc::exchange::IDType getTaskID() const override { return fTaskId; }
    bool cancel() const override;
    const std::shared_ptr<cmddistributor::CmdDistributor>& getCmdDistributor() const noexcept {
        return fDistributor;
    }

  private:
    const std::shared_ptr<cmddistributor::CmdDistributor> fDistributor;
    const foundation::msg_svc::exchange::IDType fTaskId;
};

class KORVAN_HOST_EXPORT NullCmdDistributorTaskReference final : public TaskReference {
  public:
    foundation::msg_svc::exchange::IDType getTaskID() const override;
    bool cancel() const override { return false; }
};

}  // namespace detail

template <class T>
class Future;

template <>
class KORVAN_HOST_EXPORT Future<void> {
  public:
    Future(boost::future<void> future, std::shared_ptr<const detail::TaskReference> reference);
    Future(Future&&) noexcept = default;
    Future& operator=(Future&&) noexcept = default;
    ~Future();  // releases both parts; never waits

    /// Waits for the work and rethrows its failure (the work's own exception, or a
    /// cmddistributor::RuntimeException from the host). Valid once.
    void get();
    bool valid() const noexcept { return fFuture.valid(); }
    bool isReady() const { return fFuture.is_ready(); }
    /// Waits at most `timeout`; returns whether the work finished (ran or failed).
    bool waitFor(std::chrono::milliseconds timeout);

    const detail::TaskReference& getTaskReference() const noexcept { return *fReference; }
    boost::future<void>& getBoostFuture() noexcept { return fFuture; }
    /// Always throws std::runtime_error "then is unsupported".
    [[noreturn]] void then(const boost::function<void()>& continuation) const {
        fReference->then(continuation);
    }

  private:
    boost::future<void> fFuture;
    std::shared_ptr<const detail::TaskReference> fReference;  // never null
};

}  // namespace xvm
