// The host's one service framework.
#include <foundation/cppmicroservices/Framework.hpp>

#include <cppmicroservices/FrameworkFactory.h>

namespace foundation::cppmicroservices {

::cppmicroservices::Framework getFramework() {
    // Deliberately never destroyed: services and trackers held by other static objects may
    // still use the framework while the process exits, in whatever order those die.
    static ::cppmicroservices::Framework* const framework = [] {
        auto* created = new ::cppmicroservices::Framework(
            ::cppmicroservices::FrameworkFactory().NewFramework());
        created->Start();
        return created;
    }();
    return *framework;
}

}  // namespace foundation::cppmicroservices
