#pragma once

// The exit codes the front end's message table knows, named for what this exporter means by them.
namespace ExitCode {
inline constexpr int Success = 0;
inline constexpr int InputNotFound = 1;
inline constexpr int UnsupportedVersion = 2;
inline constexpr int InvalidArguments = 3;
inline constexpr int NoArguments = 8;
inline constexpr int CorruptedFile = 9;
inline constexpr int XlsxNotWritable = 11;
inline constexpr int DaeNotWritable = 12;
inline constexpr int ModelNull = 13;
inline constexpr int NoProject = 14;
inline constexpr int InvalidArgumentValue = 15;
inline constexpr int InternalError = 99;
} // namespace ExitCode
