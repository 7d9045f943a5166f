#include "integration/HostedPlugin.h"
