#include "config/LogSettingsReader.h"

#include "base/PathHelper.h"
#include "config/PropertyService.h"
#include "config/RegistryReader.h"

void ReadLogSettings(const CLogComponent& component, CLogSettings& settings) {
    const CPropertyService& properties = CPropertyService::GetInstance(component.name);
    const CRegistryReader key(properties.GetKeyPath());
    key.ReadDword(component.valuePrefix + L"LogLevel", settings.level);
    key.ReadDword(component.valuePrefix + L"LogSize", settings.file.maxBytes);
    key.ReadDword(component.valuePrefix + L"MaxLogs", settings.file.maxFiles);
    if (!properties.GetConfigDirectory().empty())
        settings.propertiesFile = JoinPath(properties.GetConfigDirectory(), component.name + L"Log.properties");
    if (!properties.GetLogDirectory().empty())
        settings.file.path = JoinPath(properties.GetLogDirectory(), component.name + L".log");
}
