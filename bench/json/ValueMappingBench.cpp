// Decoding and encoding large numeric arrays between JSON text and host arrays, the two steps a
// function worker does for each call: text -> parsed value -> host array (decode) and host
// array -> JSON value -> text (encode). The data are files written by bench/json/compare.py
// (the same bytes Python's json module is timed on); without them, 1000-by-1000 arrays of
// random doubles and integers made here.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>

#include "foundation/json/Parser.hpp"
#include "korvan/services/connector/JsonValues.hpp"

namespace {

using korvan::services::connector::arrayFromJson;
using korvan::services::connector::jsonFromArray;
using korvan::services::connector::writeJson;

std::string made(bool integers) {
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> real(-1e6, 1e6);
    std::uniform_int_distribution<long long> whole(-1000000, 1000000);
    std::ostringstream text;
    text.precision(17);
    text << '[';
    for (int i = 0; i < 1000; ++i) {
        text << (i ? ",[" : "[");
        for (int j = 0; j < 1000; ++j) {
            if (j) text << ',';
            if (integers)
                text << whole(random);
            else
                text << real(random);
        }
        text << ']';
    }
    text << ']';
    return text.str();
}

// The JSON text of the data set `name` ("doubles" or "integers").
const std::string& data(const std::string& name) {
    static std::map<std::string, std::string> cache;
    auto& text = cache[name];
    if (!text.empty()) return text;
    if (const char* folder = std::getenv("KORVAN_BENCH_DATA")) {
        std::ifstream in(std::filesystem::path(folder) / (name + ".json"), std::ios::binary);
        std::ostringstream read;
        read << in.rdbuf();
        text = read.str();
    }
    if (text.empty()) text = made(name == "integers");
    return text;
}

void decode(benchmark::State& state, const std::string& name) {
    const std::string& text = data(name);
    for (auto _ : state) {
        auto array = arrayFromJson(foundation::json::parse(text));
        benchmark::DoNotOptimize(array.get());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void encode(benchmark::State& state, const std::string& name) {
    const auto array = arrayFromJson(foundation::json::parse(data(name)));
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::string text = writeJson(jsonFromArray(array.get()));
        bytes = text.size();
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

BENCHMARK_CAPTURE(decode, doubles, std::string("doubles"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, doubles, std::string("doubles"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decode, integers, std::string("integers"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(encode, integers, std::string("integers"))->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
