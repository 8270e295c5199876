// Version of the host runtime, for `korvan --version` and diagnostics.
namespace korvan {
const char* hostVersion() { return KORVAN_VERSION; }
const char* hostResourceDir() { return KORVAN_RESOURCE_DIR; }
}  // namespace korvan
