#include "tools/Subcommands.h"

namespace marrowfin {

const std::vector<const Subcommand*>& Subcommands() {
  static const std::vector<const Subcommand*> table = {
      &importSubcommand,
  };
  return table;
}

}  // namespace marrowfin
