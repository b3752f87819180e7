
#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "cli/command_words.h"
#include "devicedb/pim_volume.h"
#include "kinds/console_sink.h"
#include "kinds/jobs.h"
#include "kinds/kinds.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

struct DeleteAllOptions {
  std::string kind;
  bool yes = false;
};

// The deletion dialog on a console: a bar on a terminal; the count deleted is kept for the end.
class ConsoleDeletionProgress : public devicedb::DeletionProgress {
 public:
  explicit ConsoleDeletionProgress(bool draw) : draw_(draw) {}

  void Start(std::uint32_t count) override { count_ = count; }
  void SetPosition(std::uint32_t deleted) override {
    deleted_ = deleted;
    if (draw_ && count_ > 0 && (deleted % 64 == 0 || deleted == count_)) {
      std::printf("\rDeleting [%3u%%]", static_cast<unsigned>(deleted * 100ULL / count_));
      std::fflush(stdout);
    }
  }
  void Finish() override {
    if (draw_ && count_ > 0) std::printf("\r\x1b[K");
  }

  std::uint32_t deleted() const { return deleted_; }

 private:
  bool draw_;
  std::uint32_t count_ = 0;
  std::uint32_t deleted_ = 0;
};

int DeleteAll(CommandContext& context, const DeleteAllOptions& options) {
  std::vector<engine::ItemKind> chosen;
  std::string reason;
  if (!ParseKinds(options.kind, &chosen, &reason)) return context.Fail(reason);
  if (chosen.size() != 1) return context.Fail("delete-all takes one kind");
  const kinds::KindRow* row = kinds::FindKind(chosen[0]);
  if (row == nullptr) return context.Fail(NoWorkerReason(chosen[0]));
  if (row->delete_all == nullptr) {
    return context.Fail(std::string(KindCommandWord(row->kind)) + " have no delete-all");
  }
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  if (!options.yes) {
    if (!CanAsk())
      return context.Fail("not deleting without --yes: there is no terminal to ask on");
    // The kind's confirmation, whose question ends with its blank.
    if (!AnsweredYes(platform::ToUtf8(row->delete_confirm_caption) + ": " +
                     platform::ToUtf8(row->delete_confirm)))
      return context.Fail("nothing deleted");
  }
  ConsoleDeletionProgress progress(kinds::IsTerminal(stdout));
  const kinds::DeletionOutcome outcome =
      kinds::RunDeleteAll(host->device(), *row, progress, context.FrontEnd(*host),
                          u"delete-all " + platform::FromUtf8(KindCommandWord(row->kind)));
  if (outcome.result) {
    std::printf("%s\n", platform::ToUtf8(*outcome.result).c_str());
    std::fflush(stdout);
  }
  if (!outcome.failure.empty()) return context.Fail(outcome.failure);
  return kExitSuccess;
}

}  // namespace

void AddDeleteAllCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command =
      app.add_subcommand("delete-all", "Delete every item of one kind from the device");
  auto options = std::make_shared<DeleteAllOptions>();
  command
      ->add_option("KIND", options->kind,
                   "The kind: contacts, appointments, tasks, calllogs or speeddials")
      ->required();
  command->add_flag("--yes", options->yes, "Do not ask for confirmation");
  command->callback([&context, options] {
    context.action = [&context, options] { return DeleteAll(context, *options); };
  });
}

}  // namespace kestrav::cli
