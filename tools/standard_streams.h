/** Standard input and output as data streams
 *
 *  The codec library prints its few messages by printf. While the tool's own data goes to standard output, descriptor 1
 *  is made to lead to standard error, so that a message can never end up between two frames or samples.
 */
#ifndef TALV_TOOLS_STANDARD_STREAMS_H
#define TALV_TOOLS_STANDARD_STREAMS_H

#include <cstdio>
#include <string>

namespace talv
{

inline constexpr const char *STDIN_NAME = "standard input";
inline constexpr const char *STDOUT_NAME = "standard output";

/** Is this argument standard input or output? "-" is, and so are the names that the system has for them */
bool is_stdin(const std::string &path);
bool is_stdout(const std::string &path);

/** Put something behind descriptors 0, 1 and 2 when the caller left them closed
 *
 *  Else the first file opened would take their place, and messages would be written into it. To be called first of all.
 */
void settle_standard_streams();

/** Take standard output over for data
 *
 *  From then on what is printed goes to standard error.
 *  return   a descriptor of its own for the data; the caller closes it
 *  throws   Failure when standard output is closed, or a terminal
 */
int take_standard_output();

/** A stream for reports that other programs read: standard output, kept free of the codec's messages as above, or
 *  standard error when standard output carries data
 */
std::FILE *take_report_stream(bool data_on_stdout);

} // namespace talv

#endif
