#include "xvm/XVM.hpp"

#include <mutex>
#include <stdexcept>
#include <unordered_map>

namespace xvm {
namespace {

// Live interpreters by context identifier (weak: the registry never keeps one alive).
struct Registry {
    std::mutex fMutex;  // guards fByID and fNextID
    std::unordered_map<kvutil::contextmgr::McrID, std::weak_ptr<XVM>> fByID;
    std::uint64_t fNextID = 1;
};

Registry& registry() {
    static auto* r = new Registry;  // never destroyed: interpreters may die after main ends
    return *r;
}

kvutil::contextmgr::McrID nextMcrID() {
    auto& r = registry();
    std::lock_guard lock(r.fMutex);
    return kvutil::contextmgr::McrID{r.fNextID++};
}

// The interpreter current on this thread. Its destructor releases the interpreter from the
// thread when the thread ends with one still current.
struct CurrentSlot {
    std::shared_ptr<XVM> fVM;
    ~CurrentSlot() {
        if (fVM) Factory::setCurrentLocalXVM(nullptr);
    }
};

thread_local CurrentSlot tCurrent;

}  // namespace

XVM::XVM(XVMOptions options)
    : fMcrID(nextMcrID()),
      fOutputSink(options.fOutputSink ? std::move(options.fOutputSink) : kvutil::io::stdoutSink()),
      fErrorSink(options.fErrorSink ? std::move(options.fErrorSink) : kvutil::io::stderrSink()),
      fDistributor(options.fWithDistributor
                       ? std::make_shared<cmddistributor::CmdDistributor>(options.fQueueCapacity)
                       : nullptr) {}

XVM::~XVM() {
    if (fDistributor) fDistributor->close();
    auto& r = registry();
    std::lock_guard lock(r.fMutex);
    auto it = r.fByID.find(fMcrID);
    if (it != r.fByID.end() && it->second.expired()) r.fByID.erase(it);
}

void XVM::requireOwnerThread(const char* operation) const {
    if (!isOwnerThread()) {
        throw std::logic_error(std::string("xvm::XVM::") + operation +
                               " called on a thread where the interpreter is not current");
    }
}

namespace {
// How deep drains are nested on this thread: posted work that waits (pause, system) drains
// the next posted work on the same stack, which may wait in turn.
thread_local int tDrainDepth = 0;
}  // namespace

std::size_t XVM::drainPending() {
    requireOwnerThread("drainPending");
    if (!fDistributor || tDrainDepth >= kMaxDrainDepth) return 0;
    ++tDrainDepth;
    struct Leave {
        ~Leave() { --tDrainDepth; }
    } leave;
    return fDistributor->drainPending();
}

std::size_t XVM::waitAndDrain(std::chrono::milliseconds timeout) {
    requireOwnerThread("waitAndDrain");
    // At the depth bound the queued work waits for the drains below to return; this waits
    // out its time instead of returning at once for work it may not run (a spin).
    if (fDistributor && tDrainDepth < kMaxDrainDepth) {
        fDistributor->waitForWork(timeout);
        return drainPending();
    }
    std::unique_lock lock(fIdleMutex);
    fIdleCv.wait_for(lock, timeout, [this] { return fIdleWake; });
    fIdleWake = false;
    return 0;
}

void XVM::wake() {
    if (fDistributor) {
        fDistributor->wake();
        return;
    }
    {
        std::lock_guard lock(fIdleMutex);
        fIdleWake = true;
    }
    fIdleCv.notify_all();
}

std::shared_ptr<XVM> Factory::createXVM(XVMOptions options) {
    auto vm = std::make_shared<XVM>(std::move(options));
    auto& r = registry();
    std::lock_guard lock(r.fMutex);
    r.fByID[vm->getMcrID()] = vm;
    return vm;
}

std::shared_ptr<XVM> Factory::getCurrentLocalXVM() {
    return tCurrent.fVM;
}

std::shared_ptr<XVM> Factory::setCurrentLocalXVM(std::shared_ptr<XVM> vm) {
    const auto self = std::this_thread::get_id();
    if (vm && vm != tCurrent.fVM) {
        std::thread::id none;
        if (!vm->fOwner.compare_exchange_strong(none, self) && none != self) {
            throw std::logic_error("xvm::XVM is already current on another thread");
        }
    }
    auto previous = std::move(tCurrent.fVM);
    if (previous && previous != vm) previous->fOwner.store(std::thread::id());
    tCurrent.fVM = std::move(vm);
    return previous;
}

std::shared_ptr<XVM> Factory::findByMcrID(kvutil::contextmgr::McrID id) {
    auto& r = registry();
    std::lock_guard lock(r.fMutex);
    auto it = r.fByID.find(id);
    return it == r.fByID.end() ? nullptr : it->second.lock();
}

}  // namespace xvm
