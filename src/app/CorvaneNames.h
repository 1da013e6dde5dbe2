#pragma once

// The reference application's own names: its control interface, the error names of its replies
// and the journal's environment variable. The names it shares with the tool are in
// platform/CVCorvaneContract.h.
namespace CorvaneNames {

inline constexpr const char* kControlObjectPath = "/com/corvane/Corvane/control";
inline constexpr const char* kControlInterface = "com.corvane.Corvane.Control";

inline constexpr const char* kInvalidInvocationError =
    "com.corvane.Corvane.Error.InvalidInvocation";
inline constexpr const char* kNoSuchDocumentError = "com.corvane.Corvane.Error.NoSuchDocument";
inline constexpr const char* kNotAMergeError = "com.corvane.Corvane.Error.NotAMerge";
inline constexpr const char* kMergeResultError = "com.corvane.Corvane.Error.MergeResult";
inline constexpr const char* kNoWindowError = "com.corvane.Corvane.Error.NoWindow";
inline constexpr const char* kWindowError = "com.corvane.Corvane.Error.Window";

// Where the journal goes when --journal is not given.
inline constexpr const char* kJournalVariable = "CORVANE_JOURNAL";

}  // namespace CorvaneNames
