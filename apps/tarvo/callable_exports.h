// The exports `tarvo call` can call, with what each takes and gives. A library's symbol table
// names its functions but not their types, so the runner keeps this table of the signatures it
// knows (those of corvane/core/control_exports.h); a name outside it cannot be called, even
// when a plug-in exports it.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tarvo::runner {

// The kind of a value on the command line or in the output.
enum class ValueKind { Text, Bool, Integer, Seconds };

// How an export is called.
enum class CallShape {
    Getter,      // no argument; returns a value of `kind`
    Setter,      // one argument of `kind`; returns nothing
    StatusFill,  // fills a text, and says with its boolean result whether it did
    ReportFill,  // fills a text (and takes the platform's unused further argument)
};

struct CallableExport {
    const char* name;
    CallShape shape;
    ValueKind kind;  // of the argument (Setter) or of the result (the others)
};

// Every callable export, in the order `tarvo call` lists them.
const std::vector<CallableExport>& CallableExports();
const CallableExport* FindCallable(const std::string& name);

// "GetSTTxInterval -> SECONDS", "SetCorvaneID TEXT": one entry of a list of what a module
// offers.
std::string Usage(const CallableExport& e);

// An argument parsed for its kind: Text as wide text, the others as a number (Bool 1 or 0).
struct CallArgument {
    std::wstring text;
    long number = 0;
};
// False with `error` saying what a value of the kind looks like.
bool ParseCallArgument(ValueKind kind, const std::string& text, CallArgument& argument,
                       std::string& error);

// Calls `symbol` (the export `e` as a plug-in has it) with `argument` (present exactly for a
// Setter). True with `output` holding the result as printed (no result: empty; booleans as
// true or false, numbers in decimal, texts as UTF-8 ending in a line end); false with `error`
// when the export reported failure.
bool CallExport(const CallableExport& e, void* symbol, const std::optional<CallArgument>& argument,
                std::string& output, std::string& error);

}  // namespace tarvo::runner
