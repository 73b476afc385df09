// Everything a host process needs to run the virtual network agent.
#pragma once

#include "reactive/AllocTrack.h"
#include "reactive/Attribute.h"
#include "reactive/Dir.h"
#include "reactive/Entity.h"
#include "reactive/Exception.h"
#include "reactive/HashMap.h"
#include "reactive/Members.h"
#include "reactive/Notifiee.h"
#include "reactive/PtrInterface.h"
#include "reactive/Reactor.h"
#include "reactive/StateMachine.h"
#include "reactive/String.h"
#include "reactive/Trace.h"
#include "reactive/TypeNode.h"
#include "reactive/Types.h"
#include "reactive/Version.h"
