#pragma once

#include "Output.h"

#include <string>
#include <string_view>

namespace zyscene
{

/// When to do something that suits a terminal and not a file.
enum class When { Auto, Always, Never };

/// What the user asked of the streams.
struct ConsoleOptions {
    bool quiet = false; ///< errors only
    int verbose = 0;    ///< how often -v was given
    When progress = When::Auto;
    When color = When::Auto;
};

/// The real standard output and standard error of the process.
///
/// Both are taken over at construction, before anything else can print: what the module writes to descriptors
/// 1 and 2 is captured elsewhere and never mixes with the result. The result goes to out(); everything else
/// goes through error(), warning(), note() to standard error, below which a progress bar may stand.
class Console
{
public:
    Console();
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    void configure(const ConsoleOptions& options);
    const ConsoleOptions& options() const { return _options; }

    Output& out() { return _out; }
    /// Whether text on standard output is coloured.
    bool colorsOut() const { return _colorsOut; }

    /// @name Lines on standard error
    /// The text is made printable; quiet runs show errors only.
    /// @{
    void error(std::string_view text);
    void warning(std::string_view text);
    /// A line that is shown with -v.
    void note(std::string_view text);
    /// A line as it is, shown in every run.
    void line(std::string_view text);
    /// @}

    /// @name The status line
    /// One line at the end of standard error that is redrawn in place.
    /// @{
    bool showsStatus() const { return _showsStatus; }
    void setStatus(std::string_view text);
    void clearStatus();
    /// @}

    /// The real standard error.
    int errorDescriptor() const { return _err.fd(); }

private:
    void labelled(const char* label, const char* color, std::string_view text);

    Output _out;
    Output _err;
    ConsoleOptions _options;
    bool _colorsOut = false;
    bool _colorsErr = false;
    bool _showsStatus = false;
    bool _statusDrawn = false;
};

} // namespace zyscene
