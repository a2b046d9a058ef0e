// The objects of the stand-in firewall, each made with one reference for the caller.
#pragma once

#include "fw/fake/com_object.h"

#include <netfw.h>

namespace korvel::test::fwfake {

INetFwPolicy2* newPolicy();
INetFwRules* newRules();
INetFwRule* newRule(const Element& properties);
/// The properties of a rule made by newRule.
const Element& propertiesOf(INetFwRule* rule);

}  // namespace korvel::test::fwfake
