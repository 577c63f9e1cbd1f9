// Puts decoded answers on standard output: tables for a person, or JSON.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <vector>

#include "dornctl/Settings.h"
#include "host/AamsContent.h"
#include "host/CountersAnswer.h"
#include "host/ListAnswer.h"
#include "host/MachinesAnswer.h"
#include "host/MessageAnswer.h"
#include "host/TimesAnswer.h"
#include "host/ValueAnswer.h"
#include "host/VersionAnswer.h"

namespace dornctl {

// Nothing is printed for no answers.
void show(const std::vector<teskhost::CountersAnswer>& answers, const Settings& settings);
void show(const std::vector<teskhost::ValueAnswer>& answers, const Settings& settings);
void show(const std::vector<teskhost::ListAnswer>& pages, const Settings& settings);
void show(const std::vector<teskhost::TimesAnswer>& pages, const Settings& settings);
void show(const std::vector<teskhost::MessageAnswer>& answers, const Settings& settings);
void show(const std::vector<teskhost::VersionAnswer>& answers, const Settings& settings);
void show(const std::vector<teskhost::MachinesAnswer>& answers, const Settings& settings);
void show(const teskhost::AamsContent& content, const Settings& settings);

}  // namespace dornctl
