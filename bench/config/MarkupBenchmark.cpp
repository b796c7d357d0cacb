// Parse time of a hive-like document, this engine against pugixml, in one run.
// Both start from the same text in memory and end with a document that can be
// searched; neither touches a file. pugixml copies the buffer once and parses it
// in place; MarkupDocument copies it once into its text and builds its record table.
#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include "bench/config/HiveText.h"
#include "sys/libutils/MarkupDocument.h"

namespace {

void BM_MarkupDocumentParse(benchmark::State& state) {
    const std::string text = qn::bench::makeHiveText(static_cast<std::size_t>(state.range(0)));
    qn::sys::MarkupDocument doc;
    for (auto _ : state) {
        bool ok = doc.setDocument(text.c_str());
        benchmark::DoNotOptimize(ok);
        if (!ok) {
            state.SkipWithError("parse failed");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
    state.counters["bytes"] = static_cast<double>(text.size());
}

void BM_PugixmlParse(benchmark::State& state) {
    const std::string text = qn::bench::makeHiveText(static_cast<std::size_t>(state.range(0)));
    pugi::xml_document doc;
    for (auto _ : state) {
        pugi::xml_parse_result result = doc.load_buffer(text.data(), text.size());
        benchmark::DoNotOptimize(result.status);
        if (!result) {
            state.SkipWithError("parse failed");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
    state.counters["bytes"] = static_cast<double>(text.size());
}

}  // namespace

BENCHMARK(BM_MarkupDocumentParse)->Arg(4 * 1024)->Arg(200 * 1024);
BENCHMARK(BM_PugixmlParse)->Arg(4 * 1024)->Arg(200 * 1024);

BENCHMARK_MAIN();
