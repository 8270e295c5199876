// Configuration shared by every header of the service registry library.
#pragma once

#include <cppmicroservices/FrameworkConfig.h>
