// What every subcommand prints: the program's messages in UTF-8 on standard error, and
// CP932 texts converted for the terminal.
#pragma once

#include <cstdint>
#include <string>

// Exit statuses of tavexon-cli.
enum CliExit : int { CliSuccess = 0, CliFailure = 1, CliUsage = 2 };

// The text of a message by its number, in UTF-8 (empty for an unknown number).
std::string CliMessage(uint32_t id);

// Prints "path: error CODE: MESSAGE" (the message by its number, in UTF-8) to standard error;
// with code 0, "path: MESSAGE".
void CliReportFailure(const std::string& path, uint32_t code, uint32_t messageId);

// The message a view would show for a failed read, by the error code and the status flags.
uint32_t CliReadMessage(uint32_t status, uint32_t code);
