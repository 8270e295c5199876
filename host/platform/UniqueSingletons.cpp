// The unique-singleton table.
#include <foundation/usm/UniqueSingletons.hpp>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace foundation::usm {

namespace {

struct Entry {
    void* fObject;
    void (*fDestroy)(void*);
    std::type_index fType;
};

class Table {
  public:
    ~Table() { reset(); }

    Id obtainId() { return fNextId.fetch_add(1, std::memory_order_relaxed); }

    void* find(Id id, const std::type_info& type) {
        std::lock_guard lock(fLock);
        check(id);
        const auto it = fEntries.find(id);
        if (it == fEntries.end()) {
            return nullptr;
        }
        return checked(it->second, type);
    }

    void* findOrInsert(Id id, const std::type_info& type, void* object, void (*destroy)(void*)) {
        std::lock_guard lock(fLock);
        check(id);
        const auto [it, inserted] = fEntries.try_emplace(id, Entry{object, destroy, type});
        if (inserted) {
            fOrder.push_back(id);
            return object;
        }
        return checked(it->second, type);
    }

    void reset() {
        std::vector<Entry> doomed;
        {
            std::lock_guard lock(fLock);
            for (auto id = fOrder.rbegin(); id != fOrder.rend(); ++id) {
                doomed.push_back(fEntries.at(*id));
            }
            fEntries.clear();
            fOrder.clear();
        }
        // Outside the lock: a destructor may use the registry.
        for (const Entry& entry : doomed) {
            entry.fDestroy(entry.fObject);
        }
    }

  private:
    void check(Id id) const {
        if (id == 0 || id >= fNextId.load(std::memory_order_relaxed)) {
            throw std::out_of_range("unique singleton ID " + std::to_string(id) +
                                    " was never obtained");
        }
    }

    static void* checked(const Entry& entry, const std::type_info& type) {
        if (entry.fType != std::type_index(type)) {
            throw std::logic_error(std::string("unique singleton registered as ") +
                                   entry.fType.name() + ", asked for as " + type.name());
        }
        return entry.fObject;
    }

    std::atomic<Id> fNextId{1};
    std::mutex fLock;  // guards fEntries and fOrder
    std::unordered_map<Id, Entry> fEntries;
    std::vector<Id> fOrder;  // insertion order, for destruction newest first
};

// The table itself is never destroyed, so code that runs late in static destruction can still
// ask it (and finds it empty); its objects are destroyed by the reaper below.
Table& table() {
    static Table* const instance = new Table();
    return *instance;
}

// Destroys the registered objects at process exit (static destruction of the host library).
struct Reaper {
    Reaper() { table(); }
    ~Reaper() { table().reset(); }
} gReaper;

}  // namespace

Id obtainId() {
    return table().obtainId();
}

void reset() {
    table().reset();
}

namespace detail {

void* find(Id id, const std::type_info& type) {
    return table().find(id, type);
}

void* findOrInsert(Id id, const std::type_info& type, void* object, void (*destroy)(void*)) {
    return table().findOrInsert(id, type, object, destroy);
}

}  // namespace detail

}  // namespace foundation::usm
