// The environment of module_published_test: every double is in the registry before the module
// is loaded and first used.
#include "ModuleFixture.hpp"

namespace {

[[maybe_unused]] ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new korvan::test::PublishedEnvironment);

}  // namespace
