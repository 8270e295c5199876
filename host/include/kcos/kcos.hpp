// The class-object system: one include for everything a module or the host needs.
#pragma once

#include "kcos/Allocator.hpp"
#include "kcos/Class.hpp"
#include "kcos/ClassInfo.hpp"
#include "kcos/Client.hpp"
#include "kcos/EnumInfo.hpp"
#include "kcos/Instance.hpp"
#include "kcos/Interned.hpp"
#include "kcos/Members.hpp"
#include "kcos/MethodInfo.hpp"
#include "kcos/Namespace.hpp"
#include "kcos/NamespaceInfo.hpp"
#include "kcos/Operations.hpp"
#include "kcos/Property.hpp"
#include "kcos/Types.hpp"
