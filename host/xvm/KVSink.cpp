#include "kvutil/io/KVSink.hpp"

#include <iostream>

namespace kvutil::io {

void OStreamSink::write(std::string_view text) noexcept {
    try {
        std::lock_guard lock(fMutex);
        fStream.write(text.data(), static_cast<std::streamsize>(text.size()));
    } catch (...) {
        // A failing stream drops the text; writers must not fail because output did.
    }
}

void OStreamSink::flush() noexcept {
    try {
        std::lock_guard lock(fMutex);
        fStream.flush();
    } catch (...) {
    }
}

void StringSink::write(std::string_view text) noexcept {
    try {
        std::lock_guard lock(fMutex);
        fText.append(text);
    } catch (...) {
    }
}

std::string StringSink::text() const {
    std::lock_guard lock(fMutex);
    return fText;
}

std::string StringSink::take() {
    std::lock_guard lock(fMutex);
    std::string out;
    out.swap(fText);
    return out;
}

KVSinkRef stdoutSink() {
    // Leaked on purpose: output may be written by static destructors of loaded modules.
    static auto* sink = new KVSinkRef(std::make_shared<OStreamSink>(std::cout));
    return *sink;
}

KVSinkRef stderrSink() {
    static auto* sink = new KVSinkRef(std::make_shared<OStreamSink>(std::cerr));
    return *sink;
}

}  // namespace kvutil::io
