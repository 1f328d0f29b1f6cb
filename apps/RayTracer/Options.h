#pragma once

#include <cstdint>

#include "RayTracer/CommandWalker.h"
#include "render/RayTracer.h"
#include "shared/Option.h"

namespace rt {

// The options of the command line, and the settings that they make.

enum RunMode : uint32_t { MODE_LOCAL = 0, MODE_SERVER = 1, MODE_CLIENT = 2 };

// The handlers write to these and to g_rt's settings.
extern RayTracer g_rt;       // the one renderer
extern uint32_t g_uOption;   // RunMode
extern uint16_t g_port;      // of server and client mode
extern const char* g_szIP;   // server's address for client mode, an argument's text
extern uint32_t g_uMaxConn;  // clients served at the same time

/// Registers the twelve options, and the scene's name as the default.
void addOptions(CommandWalker& walker);

/// The options as the pages tell of them.
Program rayTracerProgram();

/// Prints the usage text.
void printUsage(const CommandWalker& walker);

}  // namespace rt
