#ifndef EXPLORER_CORE_ANSWERS_H
#define EXPLORER_CORE_ANSWERS_H

#include "explorer/core/Asking.h"

namespace marrowfin {

// The answers to all questions, each an AnswerFunction; docs/explorer-protocol.md tells their
// members and what comes back.
MaybeRefusal AnswerTrace(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerWhen(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerPalette(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerState(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerSteps(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerActivity(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerEvents(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerCount(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerHits(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerNext(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerHeat(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerLinks(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerKinds(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerLane(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerCounter(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerPiece(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerSearch(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerWhy(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerPacket(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerMeasures(Asking& asking, AnswerBytes& answer);
MaybeRefusal AnswerPhases(Asking& asking, AnswerBytes& answer);

}  // namespace marrowfin

#endif
