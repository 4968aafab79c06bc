#include "engine/AppConstants.h"

std::u16string configPath() { return dataDirectory() + std::u16string(ConfigFileName); }

std::u16string recipientsPath() { return dataDirectory() + std::u16string(RecipientsFileName); }
