// The keys of the latency probe's file, in their order: the order is part of the format, so
// tests compare with these lists rather than with what the writer happens to produce.
#pragma once

#include <string>
#include <vector>

namespace scrawlet::testing {

inline const std::vector<std::string> kLatencyMetaKeys = {"kind",
                                                          "buildConfiguration",
                                                          "inputDevice",
                                                          "displayID",
                                                          "nominalRefreshHz",
                                                          "backingScaleFactor",
                                                          "screenPointWidth",
                                                          "screenPointHeight",
                                                          "opaqueWindow",
                                                          "surface",
                                                          "presentMode",
                                                          "presentsWithTransaction",
                                                          "maximumDrawableCount",
                                                          "clearOnDown",
                                                          "flashOnDraw",
                                                          "inputTransport",
                                                          "synthetic",
                                                          "inputDeviceCount",
                                                          "inputDevices",
                                                          "osVersion",
                                                          "hardwareModel",
                                                          "startedAt",
                                                          "eventCount",
                                                          "frameCommitCount",
                                                          "framePresentCount",
                                                          "joinedFrameCount",
                                                          "tickCount",
                                                          "deferredFrameCount",
                                                          "unmatchedEventCount",
                                                          "domainCheckSeconds",
                                                          "presentOrderViolations",
                                                          "zeroPresentedFrameCount",
                                                          "occludedSeconds"};

inline const std::vector<std::string> kLatencySampleKeys = {"kind",
                                                            "seq",
                                                            "eventTimestamp",
                                                            "handlerEntry",
                                                            "handlerExit",
                                                            "postTimestamp",
                                                            "encodeSubmitted",
                                                            "presentedTime",
                                                            "refreshInterval",
                                                            "frameIndex",
                                                            "phase",
                                                            "x",
                                                            "y"};

}  // namespace scrawlet::testing
