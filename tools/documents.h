/** Manual page and shell completions, made from the very arguments that the tool takes */
#ifndef TALV_TOOLS_DOCUMENTS_H
#define TALV_TOOLS_DOCUMENTS_H

#include <CLI/CLI.hpp>
#include <string>

namespace talv
{

/** The exit statuses and what they mean, one a line */
std::string exit_statuses();

/** Print to standard output
 *  kind     "man", "bash", "zsh" or "fish"
 */
void print_document(const CLI::App &app, const std::string &kind);

} // namespace talv

#endif
