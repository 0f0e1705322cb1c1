// SPDX-License-Identifier: MIT
#include "host/session/firmware.h"

#include <fmt/format.h>

#include <filesystem>
#include <utility>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/demod/firmware.h"
#include "host/session/placeholder_firmware.h"
#include "host/terminal/input_file.h"

// The driver's own load_firmware, whose calls the linker redirects to the function below (--wrap).
// The names are the linker's.
extern "C" {
std::int32_t __real_load_firmware(const std::uint8_t *image);
std::int32_t __wrap_load_firmware(const std::uint8_t *image);
}

namespace host {

namespace {

// Of this process, like the chip layer's state.
FirmwareFiles given_files;

void require_size(const std::string &name, std::uintmax_t size) {
    if (size != FIRMWARE_SIZE) {
        throw InputError(fmt::format("{}: has {} bytes, and a firmware image {}", name, size,
                                     static_cast<int>(FIRMWARE_SIZE)));
    }
}

std::optional<FirmwareFile> read_file(const std::optional<std::string> &name) {
    if (!name) {
        return std::nullopt;
    }
    require_regular_file(*name);
    std::error_code error;
    require_size(*name, std::filesystem::file_size(*name, error));
    const std::string bytes = read_input(*name, FIRMWARE_SIZE);
    require_size(*name, bytes.size());
    return FirmwareFile{*name, {bytes.begin(), bytes.end()}};
}

const std::uint8_t *image_for(const std::uint8_t *wanted) {
    if (wanted == ds3000_firmware_a && given_files.a) {
        return given_files.a->bytes.data();
    }
    if (wanted == ds3000_firmware_b && given_files.b) {
        return given_files.b->bytes.data();
    }
    return wanted;
}

}  // namespace

FirmwareFiles read_firmware(const std::optional<std::string> &a,
                            const std::optional<std::string> &b) {
    return {read_file(a), read_file(b)};
}

void give_firmware(FirmwareFiles files) { given_files = std::move(files); }

bool Firmware::is_placeholder() const { return is_placeholder_firmware(bytes); }

std::string Firmware::origin() const {
    return file.empty() ? fmt::format("image {} of this build", letter)
                        : fmt::format("image {} from {}", letter, file);
}

Firmware firmware_of(std::int32_t chip_type) {
    const bool b = chip_type == CHIP_DS300X;
    const auto &file = b ? given_files.b : given_files.a;
    const std::uint8_t *const embedded = b ? ds3000_firmware_b : ds3000_firmware_a;
    return {.letter = b ? 'B' : 'A',
            .bytes = {image_for(embedded), FIRMWARE_SIZE},
            .file = file ? std::string_view(file->name) : std::string_view()};
}

std::string_view unused_firmware_option(std::int32_t chip_type) {
    const bool b = chip_type == CHIP_DS300X;
    const auto &other = b ? given_files.a : given_files.b;
    return !other ? "" : b ? "--firmware-a" : "--firmware-b";
}

}  // namespace host

std::int32_t __wrap_load_firmware(const std::uint8_t *image) {
    return __real_load_firmware(host::image_for(image));
}
