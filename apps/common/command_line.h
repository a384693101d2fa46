// What the programs' command lines share on top of CLI11: options whose values go through our own
// parsers, a help flag that no option's value can stand for, and errors in our words.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/model/faults.h"
#include "sim/model/parse_number.h"

namespace tarvo::apps {

// Prepares and returns `app` (before its options and subcommands, which inherit this): a
// single-valued option given twice takes the later value, arguments nothing takes are left for the
// caller to name, and --help/-h stop the parse where they stand as options, so that an option's
// value is never taken for them.
inline CLI::App* Prepare(CLI::App* app) {
    app->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app->allow_extras()->set_help_flag();
    app->add_flag_callback("--help,-h", [] { throw CLI::CallForHelp(); })->trigger_on_parse();
    return app;
}

// An option taking one value each time it is given; `take` gets each value in order (so a
// repeated option collects, a single one keeps the last) and throws CLI::ValidationError with
// the whole of what the user is to read when it is bad.
inline CLI::Option* AddValues(CLI::App& app, const std::string& name,
                              std::function<void(const std::string&)> take) {
    const auto each = [take](const CLI::results_t& values) {
        for (const std::string& value : values)
            take(value);
        return true;
    };
    return app.add_option(name, each)->take_all();
}

// An option whose every value `parse(text, value)` must accept; `out` keeps the last one, or
// collects them all when it is a vector (a repeatable option). Otherwise the parse ends with
// `NAME: expected WHAT, not "TEXT"`.
template <typename Text, typename Value, typename Out>
CLI::Option* AddParsed(CLI::App& app, const std::string& name, bool (*parse)(Text, Value&),
                       Out& out, const std::string& what) {
    return AddValues(app, name, [=, &out](const std::string& text) {
        Value value{};
        if (!parse(text, value))
            throw CLI::ValidationError(name + ": expected " + what + ", not \"" + text + "\"");
        if constexpr (requires { out.push_back(value); })
            out.push_back(value);
        else
            out = value;
    });
}

// The simulator's faults, KIND[,code=N]... as sim::ParseFault reads them; repeatable.
inline CLI::Option* AddFaults(CLI::App& app, const std::string& name,
                              std::vector<sim::Fault>& faults) {
    return AddValues(app, name, [name, &faults](const std::string& text) {
        sim::Fault fault;
        if (std::string why; !sim::ParseFault(text, fault, why))
            throw CLI::ValidationError(name + " " + text + ": " + why);
        faults.push_back(fault);
    });
}

// Seconds such as 2 or -0.5 as milliseconds; ten years either way at most.
inline bool ParseSecondsAsMs(std::string_view text, std::int64_t& ms) {
    double seconds = 0;
    if (!sim::ParseNumber(text, seconds) || std::fabs(seconds) > 3650.0 * 86400)
        return false;
    ms = std::llround(seconds * 1000);
    return true;
}

// The first argument that no option or positional of `app` took, or "" when all were. (A "--"
// is one: CLI11 ends a subcommand at it.)
inline std::string FirstLeftOver(const CLI::App& app) {
    const std::vector<std::string> left = app.remaining();
    return left.empty() ? "" : left.front();
}

enum class Parsed { Done, Help, Failed };
// Parses `args` (after the program's name). Failed with `error` saying what was expected: the
// message a value's check threw, or which option ends the command line without its value.
inline Parsed Parse(CLI::App& app, const std::vector<std::string>& args, std::string& error) {
    try {
        app.parse(std::vector<std::string>(args.rbegin(), args.rend()));
        return Parsed::Done;
    } catch (const CLI::CallForHelp&) {
        return Parsed::Help;
    } catch (const CLI::ArgumentMismatch&) {
        // With every option taking the last or all of its values, only an option at the end
        // without its value mismatches.
        error = args.back() + " needs a value";
    } catch (const CLI::ConversionError& e) {
        // Only a flag given a value ("--realtime=maybe") fails to convert: the rest are texts or
        // go through our own parsers.
        const std::string what = e.what();
        const std::string lead = "Could not convert: ";
        const std::string flag = what.starts_with(lead)
                                     ? what.substr(lead.size(), what.find(" = ") - lead.size())
                                     : what;
        error = flag + " takes no value";
    } catch (const CLI::ParseError& e) {
        error = e.what();
    }
    return Parsed::Failed;
}

}  // namespace tarvo::apps
