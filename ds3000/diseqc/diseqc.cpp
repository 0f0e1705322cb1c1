// SPDX-License-Identifier: MIT
#include "ds3000/diseqc/diseqc.h"

#include <cstdint>

#include "ds3000/chip/ds3000_context.h"
#include "ds3000/chip/ds3000_regs.h"
#include "ds3000/hw/bits.h"
#include "ds3000/hw/register_access.h"
#include "ds3000/hw/register_byte.h"
#include "ds3000/hw/wait.h"

namespace ds3000 {

namespace {

constexpr std::uint32_t poll_us = 10000;
constexpr std::uint32_t settle_us = 15000;

// Polls of each wait. Completion seen at the last poll already counts as a time-out.
constexpr int transfer_polls = 15;
constexpr int reply_polls = 17;
constexpr int settle_polls = 10;

constexpr std::uint8_t output_control_mask = 0xC0;  // bits 7..6 of the output register
constexpr std::uint8_t longest_reply = 7;

// Let the 22 kHz output through and set the option bit.
void open_output(demod_byte &byte, bool option) {
    byte.update(reg::diseqc_output, output_control_mask | reg::diseqc_option,
                option ? reg::diseqc_option : std::uint8_t{0});
}

void stop_output(demod_byte &byte) {
    byte.update(reg::diseqc_output, output_control_mask, reg::diseqc_off);
}

// End the operation in the master and stop the output.
void end_operation(demod_byte &byte) {
    byte.update(reg::diseqc_control, reg::diseqc_expect_reply, reg::diseqc_busy);
    stop_output(byte);
}

std::uint8_t read_control(demod_byte &byte) { return byte.read(reg::diseqc_control); }

// How many reply bytes the master has received so far.
std::uint8_t read_reply_length(demod_byte &byte) { return field_get(read_control(byte), 5, 3); }

void start_transfer(demod_byte &byte, const diseqc_message &message) {
    for (std::uint8_t i = 0; i < message.msg_len; ++i) {
        demod_write(static_cast<std::uint8_t>(reg::diseqc_data + i), message.msg[i]);
    }
    read_control(byte);
    const auto length_field = static_cast<std::uint8_t>(
        ((message.msg_len - 1U) << reg::diseqc_length_shift) & reg::diseqc_length_mask);
    const std::uint8_t reply_bit = message.expect_reply != 0 ? reg::diseqc_expect_reply : 0;
    byte.write(reg::diseqc_control, reg::diseqc_send_message | length_field | reply_bit);
}

bool wait_for_transfer(demod_byte &byte) {
    for (int poll = 1; poll <= transfer_polls; ++poll) {
        wait_us(poll_us);
        if (!is_set(read_control(byte), reg::diseqc_busy)) {
            return poll < transfer_polls;
        }
    }
    return false;
}

// Wait for the reply's first byte: one read at once, then one after every wait.
bool wait_for_reply(demod_byte &byte, std::uint8_t &length) {
    length = read_reply_length(byte);
    for (int poll = 1; length == 0; ++poll) {
        wait_us(poll_us);
        if (poll == reply_polls) {
            return false;
        }
        length = read_reply_length(byte);
    }
    return true;
}

// Wait until the reply does not grow any more, or cannot.
bool wait_for_reply_end(demod_byte &byte, std::uint8_t &length) {
    for (int poll = 1; poll <= settle_polls; ++poll) {
        wait_us(settle_us);
        const std::uint8_t previous = length;
        length = read_reply_length(byte);
        if (length == previous || length == longest_reply) {
            return poll < settle_polls;
        }
    }
    return false;
}

// Take the reply out of the master. False when one of its bytes has its error flag set.
bool read_reply(demod_byte &byte, diseqc_message &message) {
    demod_write(reg::diseqc_control, reg::diseqc_busy);
    for (std::uint8_t i = 0; i < message.reply_len; ++i) {
        message.reply[i] = demod_byte().read(static_cast<std::uint8_t>(reg::diseqc_data + i));
    }
    const unsigned errors = byte.read(reg::diseqc_reply_errors);
    return ((errors << (8U - message.reply_len)) & 0xFFU) == 0;
}

std::int32_t receive_reply(demod_byte &byte, diseqc_message &message) {
    std::uint8_t length = 0;
    if (!wait_for_reply(byte, length) || !wait_for_reply_end(byte, length)) {
        return DS3000_DISEQC_TIMEOUT;
    }
    message.reply_len = length;
    return read_reply(byte, message) ? DS3000_OK : DS3000_DISEQC_REPLY;
}

}  // namespace

extern "C" {

void diseqc_committed_switch(uint8_t port, uint32_t voltage_18v, uint32_t hiband,
                             struct diseqc_message *message) {
    // Write N0: four ports to a polarisation and band, counted down from 0xFC for the last.
    std::uint32_t choice = 4U * (port + 59U);
    choice |= voltage_18v != 0 ? 0x02U : 0U;
    choice |= hiband != 0 ? 0x01U : 0U;
    *message = {.msg = {0xE0, 0x10, 0x38, low_byte(choice)},
                .msg_len = 4,
                .expect_reply = 0,
                .option = 0,
                .reply = {},
                .reply_len = 0};
}

int32_t diseqc_send(struct diseqc_message *message) {
    if (message->msg_len > sizeof(message->msg)) {
        return DS3000_BAD_ARGUMENT;
    }
    demod_byte byte;
    open_output(byte, message->option != 0);
    start_transfer(byte, *message);
    if (!wait_for_transfer(byte)) {
        end_operation(byte);
        return DS3000_DISEQC_TIMEOUT;
    }
    if (message->expect_reply == 0) {
        stop_output(byte);
        return DS3000_OK;
    }
    const std::int32_t status = receive_reply(byte, *message);
    end_operation(byte);
    return status;
}

int32_t diseqc_send_burst(uint32_t selector, uint32_t option) {
    demod_byte byte;
    open_output(byte, option != 0);
    demod_write(reg::diseqc_control, selector != 0 ? reg::diseqc_burst_b : reg::diseqc_burst_a);
    wait_us(13000);
    for (int poll = 0; poll < 5 && is_set(read_control(byte), reg::diseqc_busy); ++poll) {
        wait_us(1000);
    }
    stop_output(byte);
    return DS3000_OK;
}

int32_t lnb_control(uint32_t enable, uint32_t tone, uint32_t voltage_18v, uint32_t option) {
    std::uint8_t control = demod_byte().read(reg::diseqc_control);
    std::uint8_t output = demod_byte().read(reg::diseqc_output);
    if ((enable & 0xFFU) == 0) {
        control |= reg::diseqc_busy;
        output |= reg::diseqc_voltage_mask;
    } else if (voltage_18v != 0) {
        output &= static_cast<std::uint8_t>(~reg::diseqc_voltage_mask);
    } else {
        output = (output & 0xFD) | reg::diseqc_voltage_13v;
    }
    output &= static_cast<std::uint8_t>(~output_control_mask);
    if ((enable & 0xFFU) != 0 && (tone & 0xFFU) != 0) {
        control = (control | reg::diseqc_tone) & 0xBC;
    } else {
        output |= reg::diseqc_off;
    }
    output &= static_cast<std::uint8_t>(~reg::diseqc_option);
    if ((option & 0xFFU) != 0) {
        output |= reg::diseqc_option;
    }
    demod_write(reg::diseqc_output, output);
    demod_write(reg::diseqc_control, control);
    return DS3000_OK;
}

}  // extern "C"

}  // namespace ds3000
