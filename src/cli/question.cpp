#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "cli/cli.h"

namespace kestrav::cli {

bool CanAsk() {
  return isatty(STDIN_FILENO) != 0;
}

bool AnsweredYes(std::string_view question) {
  if (!CanAsk()) return false;
  std::printf("%.*s[y/N] ", static_cast<int>(question.size()), question.data());
  std::fflush(stdout);
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace kestrav::cli
