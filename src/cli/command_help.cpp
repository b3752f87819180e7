#include <iostream>

#include "cli/cli.h"

namespace kestrav::cli {
namespace {

// The command the words name below the program, or null when one of them names none.
const CLI::App* CommandNamed(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* command = &app;
  for (const std::string& word : words) {
    const std::vector<const CLI::App*> below =
        command->get_subcommands([&word](const CLI::App* sub) { return sub->check_name(word); });
    if (below.empty()) return nullptr;
    command = below.front();
  }
  return command;
}

}  // namespace

std::string CommandWordsOf(const CLI::App& app, int argc, const char* const* argv) {
  std::string words;
  const CLI::App* command = &app;
  for (int index = 1; index < argc; ++index) {
    const std::string argument = argv[index];
    if (argument.starts_with('-')) continue;
    const std::vector<const CLI::App*> below = command->get_subcommands(
        [&argument](const CLI::App* sub) { return sub->check_name(argument); });
    if (below.empty()) continue;
    command = below.front();
    words += command->get_name() + ' ';
  }
  return words;
}

void AddHelpCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand("help", "Show the help of the program or of a command");
  auto words = std::make_shared<std::vector<std::string>>();
  command->add_option("COMMAND", *words, "The command, as typed (\"schedule set\")");
  command->callback([&app, &context, words] {
    context.action = [&app, &context, words] {
      const CLI::App* named = CommandNamed(app, *words);
      if (named == nullptr) {
        std::string typed;
        for (const std::string& word : *words) typed += (typed.empty() ? "" : " ") + word;
        return context.Fail("help: no command \"" + typed + "\" (see kestrav-cli --help)");
      }
      // App::help() would show the help of the command in hand, "help" itself.
      std::cout << named->get_formatter()->make_help(named, named->get_name(),
                                                     CLI::AppFormatMode::Normal);
      return kExitSuccess;
    };
  });
}

}  // namespace kestrav::cli
