// The classes that come with the library.
#pragma once

#include "qz/types.h"

// The class that extensions of transfers derive from.
constexpr char kExtensionClassName[] = "VRXx";

// Registers "Metafile", "Codec" and "Encodec", and then "VRXx". What AgentClass_Register gives.
ErrorCode iVRXExtension_RegisterClasses();
