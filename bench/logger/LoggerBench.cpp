// The logger's costs next to spdlog's, measured in one run:
//  - a statement whose level is off;
//  - an enabled line written and flushed to a file (ours also encrypts);
//  - AES-128-CBC throughput of the cipher the lines go through.

#include <benchmark/benchmark.h>
#include <mbedtls/aesni.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/ScratchDirectory.h"
#include "sys/libutils/Aes128.h"
#include "sys/libutils/LogOutputs.h"
#include "sys/libutils/Logger.h"
#include "sys/libutils/LoggerConfiguration.h"

namespace {

using qn::sys::Logger;

// The same message text for both loggers: 60 characters.
const std::string kMessage = "display 0x1b558c41 reconfigured, refresh rate 60 Hz, index 2";

using qn::bench::scratchDirectory;

struct InDirectory : qn::sys::LoggerConfiguration {
    void readGlobals(const std::string&, Globals& globals) override {
        globals.directory = scratchDirectory() + "/";
        globals.fileSize = 0;  // no rotation while measuring
    }
};

Logger& qnLogger() {
    static Logger logger("bench", Logger::INFO, false, true, nullptr,
                         std::make_unique<InDirectory>());
    return logger;
}

void BM_Disabled_Qn(benchmark::State& state) {
    Logger::Logged object(qnLogger(), "Bench", "1");
    int i = 0;
    for (auto _ : state) {
        QN_LOG(object, Logger::DEBUG) << "value " << i;
        ++i;
    }
}
BENCHMARK(BM_Disabled_Qn);

void BM_Disabled_Spdlog(benchmark::State& state) {
    auto logger = std::make_shared<spdlog::logger>("disabled",
                                                   std::make_shared<spdlog::sinks::null_sink_mt>());
    logger->set_level(spdlog::level::info);
    int i = 0;
    for (auto _ : state) {
        logger->debug("value {}", i);
        ++i;
    }
}
BENCHMARK(BM_Disabled_Spdlog);

void BM_EnabledFlushedLine_Qn(benchmark::State& state) {
    Logger::Logged object(qnLogger(), "Bench", "1");
    for (auto _ : state)
        QN_LOG(object, Logger::INFO) << kMessage;
    state.SetLabel("AES-128-CBC + Base64, flushed");
}
BENCHMARK(BM_EnabledFlushedLine_Qn);

// The same line through the cipher and the file stream alone, without the
// logger's lock, fan-out and the per-line check that the file is still there.
void BM_EncryptedFlushedLine_StreamOnly(benchmark::State& state) {
    std::ofstream file(scratchDirectory() + "/stream-only.log", std::ios::app);
    qn::sys::logoutput::OutputImpl output(&file, 1);
    std::int64_t elapsed = 0;
    for (auto _ : state)
        output.write(++elapsed, Logger::INFO, "LoggerBench.cpp", 1, "Bench", "1", "", kMessage);
    state.SetLabel("AES-128-CBC + Base64, flushed");
}
BENCHMARK(BM_EncryptedFlushedLine_StreamOnly);

void BM_EnabledFlushedLine_Spdlog(benchmark::State& state) {
    const std::string path = scratchDirectory() + "/spdlog.log";
    auto logger = std::make_shared<spdlog::logger>(
        "file", std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true));
    logger->set_level(spdlog::level::info);
    logger->flush_on(spdlog::level::trace);
    for (auto _ : state)
        logger->info(kMessage);
    state.SetLabel("plain text, flushed");
}
BENCHMARK(BM_EnabledFlushedLine_Spdlog);

void BM_AesCbc(benchmark::State& state) {
    using namespace qn::sys::encryption;
    Key<16> key;
    for (std::size_t i = 0; i < key.size(); ++i)
        key[i] = static_cast<std::uint8_t>(i);
    Aes128 cipher(key, Aes128::Encrypt);
    Block<16> iv;
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(state.range(0)), 0x20);
    for (auto _ : state) {
        cipher.cbc(iv, buffer.data(), buffer.data(), buffer.size());
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetLabel(mbedtls_aesni_has_support(MBEDTLS_AESNI_AES) ? "AES-NI in use" : "no AES-NI");
}
BENCHMARK(BM_AesCbc)->Arg(64)->Arg(4096);

}  // namespace

BENCHMARK_MAIN();
