#include "tools/commands/Subcommands.h"

namespace marrowfin {

const std::vector<const Subcommand*>& Subcommands() {
  static const std::vector<const Subcommand*> table = {
      &infoSubcommand,  &checkSubcommand,  &indexSubcommand,
      &stateSubcommand, &importSubcommand, &synthSubcommand,
  };
  return table;
}

}  // namespace marrowfin
