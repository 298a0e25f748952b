// tools/qbasn/commands.h - (being written) qbasn guess, diff and template.
#ifndef QBASN_TOOLS_COMMANDS_H
#define QBASN_TOOLS_COMMANDS_H
#endif
