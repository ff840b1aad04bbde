// Cost of the text-searched bodies: a feature event NOTIFY (each kind is a substring search
// of the whole body, so a long body costs in proportion), a CSTA request, and the answer
// to a hoteling challenge (digest, body, SUBSCRIBE).
#include <benchmark/benchmark.h>

#include <string>

#include "host/dev_host.h"
#include "platform/am.h"
#include "quiet_host.h"

namespace {

std::string forwardingEvent(std::size_t padding) {
    return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n"
           "<ForwardingEvent xmlns=\"http://www.ecma-international.org/standards/ecma-323/csta/ed3\">\r\n"
           "<monitorCrossRefID>0</monitorCrossRefID>\r\n<device>4001</device>\r\n" +
           std::string(padding, ' ') +
           "<forwardingType>forwardNoAns</forwardingType>\r\n<forwardStatus>true</forwardStatus>\r\n"
           "<forwardTo>4002</forwardTo>\r\n<ringCount>3</ringCount>\r\n</ForwardingEvent>";
}

void BM_FeatureEventForwarding(benchmark::State &state) {
    quietHost();
    const std::string body = forwardingEvent(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(amRecvFeatureSyncProcess(1, nullptr, body.c_str()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}
BENCHMARK(BM_FeatureEventForwarding)->Arg(0)->Arg(4096);

void BM_FeatureSyncRequestAgentState(benchmark::State &state) {
    quietHost();
    const AmFeatureSync change = {1, 0, AM_AGENT_STATE_NOT_READY, AM_FEATURE_AGENT_STATE, "", "2101"};
    long sent = 0;
    for (auto _ : state) {  // the host's record of requests is cleared now and then
        benchmark::DoNotOptimize(amFeatureSyncRequest(1, "4100", &change));
        if (++sent % 1024 == 0) devhost::clearRequests();
    }
}
BENCHMARK(BM_FeatureSyncRequestAgentState);

void BM_HotelChallengeAnswer(benchmark::State &state) {
    quietHost();
    devhost::line(1).registerNumber = "2001";
    devhost::line(1).registerServer = "10.0.0.5";
    devhost::setConfigItem("<PHONE FEATURE MODULE>", "-- Agent Config--  :", "Agent Number       :", "4001");
    devhost::setConfigItem("<PHONE FEATURE MODULE>", "-- Agent Config--  :", "Agent Password     :", "s3cret!");
    const char *body = "<hoteling><authenticationData><nonce>MTYwNTc2NDg3NjpjMzlmYjg2ZWM3ZDQ=</nonce>"
                       "<algorithm>MD5</algorithm></authenticationData></hoteling>";
    long sent = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(amHotelBodyContentParse(1, body));
        if (++sent % 1024 == 0) devhost::clearRequests();
    }
}
BENCHMARK(BM_HotelChallengeAnswer);

}  // namespace
