// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// A program for the demodulator's micro-controller that a person named.
struct FirmwareFile {
    std::string name;
    std::vector<std::uint8_t> bytes;
};

// What stands in the place of the images that this build embeds: A for DS3002B and DS3103, B for
// DS300X.
struct FirmwareFiles {
    std::optional<FirmwareFile> a;
    std::optional<FirmwareFile> b;
};

// The files of these names. Throws InputError for one that cannot be read or has not the size of an
// image.
FirmwareFiles read_firmware(const std::optional<std::string> &a,
                            const std::optional<std::string> &b);

// From now on the chip layer of this program loads these, and the build's where there is none. A
// plug-in has its own images and is not reached.
void give_firmware(FirmwareFiles files);

// What the chip layer loads into a chip.
struct Firmware {
    char letter = 'A';
    std::span<const std::uint8_t> bytes;
    std::string_view file;  // empty: this build's

    [[nodiscard]] bool is_placeholder() const;

    // "image A of this build", "image B from FILE".
    [[nodiscard]] std::string origin() const;
};
Firmware firmware_of(std::int32_t chip_type);

// Which of the files serves none of a chip's, by its option; empty when all do.
std::string_view unused_firmware_option(std::int32_t chip_type);

}  // namespace host
