// SPDX-License-Identifier: MIT
#include "host/commands/run_job.h"

#include <exception>

#include "host/commands/files_of_a_run.h"
#include "host/tables/table.h"
#include "host/terminal/input_file.h"
#include "host/terminal/replaced_file.h"

namespace host {

ExitStatus run_job(const Job &job, Program &program) {
    const auto ended_by = [&program](const std::exception &error, ExitStatus status) {
        program.console.error(error.what());
        return status;
    };
    try {
        refuse_shared_files(program);
        return job(program);
    } catch (const Failure &failure) {
        return ended_by(failure, failure.status());
    } catch (const FormError &error) {
        return ended_by(error, ExitStatus::usage);
    } catch (const LimitError &error) {
        return ended_by(error, ExitStatus::outside_limits);
    } catch (const InputError &error) {
        return ended_by(error, ExitStatus::bad_input);
    } catch (const NoSuchRow &error) {
        return ended_by(error, ExitStatus::nothing_found);
    } catch (const ReaderGone &) {
        return ExitStatus::reader_gone;
    } catch (const WritingStopped &stop) {
        return ended_by(stop, ExitStatus::cancelled);
    } catch (const std::exception &error) {
        return ended_by(error, ExitStatus::internal_error);
    }
}

}  // namespace host
