#include "activity/DailyReportScheduler.h"

void DailyReportScheduler::start() {}

void DailyReportScheduler::generate(const QDate&, bool) {}

void DailyReportScheduler::tick() {}
