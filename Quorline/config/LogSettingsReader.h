#pragma once

// What the installation says of a component's log, for the log configuration, which stands below the settings.

#include "logging/LogSettings.h"

/// Loads the property service for the component. Throws std::bad_alloc.
void ReadLogSettings(const CLogComponent& component, CLogSettings& settings);
