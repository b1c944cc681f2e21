// Features of an open Aravis device by name, through its GenICam node tree, in the seam's
// terms. Every function runs on the caller's thread and may block on the device; each copies
// what Aravis returns before the next call on the device.
#pragma once

#include <arv.h>

#include <string>

#include "Backend/Backend.h"

namespace Orvia::Aravis::Detail {

// What a call that failed says of the link to the device.
enum class CallOutcome { Done, Refused, LinkFailed };

bool describeFeature(ArvDevice* device, const std::string& name, Backend::FeatureInfo& out);
CallOutcome readFeature(ArvDevice* device, const std::string& name, Backend::FeatureValue& out);
CallOutcome writeFeature(ArvDevice* device, const std::string& name, const Backend::FeatureValue& value);
CallOutcome executeCommand(ArvDevice* device, const std::string& name);

// The address and length of a register feature; false if the device has none of that name.
bool registerSpan(ArvDevice* device, const std::string& name, uint64_t& address, uint64_t& length);

// Classifies a GError left by a call: no error, a refusal by the device, or a broken link.
CallOutcome outcomeOf(const GError* error);

} // namespace Orvia::Aravis::Detail
