#include "QuorlineModule.h"

CQuorlineModule _AtlModule;
