/* SPDX-License-Identifier: MIT */
#ifndef DS3000_DISEQC_DISEQC_H
#define DS3000_DISEQC_DISEQC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The DiSEqC master inside the demodulator: registers 0xA1 (control and status), 0xA2 (output),
 * 0xA3..0xAA (message and reply) and 0xAB (reply errors). Transfer results are ignored.
 * All for the worker thread, or for a host call while that thread is parked. */

/* One message and its reply, 20 bytes. */
struct diseqc_message {
    uint8_t msg[8];       /* bytes to send, framing byte first */
    uint8_t msg_len;      /* how many of them, 1..8 */
    uint8_t expect_reply; /* nonzero: wait for a reply and read it */
    uint8_t option;       /* nonzero: set bit 5 of register 0xA2 for the transfer */
    uint8_t reply[8];     /* out: bytes received */
    uint8_t reply_len;    /* out: how many of them, 0..7 */
};

/* Make the message that switches a committed switch, E0 10 38 and the choice, with no reply
 * expected. Sends nothing: diseqc_send does. Any thread.
 * port: 1..4; the choice is a byte, in which others wrap.
 * voltage_18v: nonzero selects the horizontal leg. hiband: nonzero selects the high band.
 * message: written whole. */
void diseqc_committed_switch(uint8_t port, uint32_t voltage_18v, uint32_t hiband,
                             struct diseqc_message *message);

/* Send a message and, when it asks for one, read the reply. Unless the message is refused, the
 * 22 kHz output is off afterwards: a caller that needs the tone calls lnb_control next.
 * Polls every 10000 us and gives the transfer 14 polls. A reply has one read at once and 16 more,
 * 10000 us apart, to begin, and then 9 polls of 15000 us to settle.
 * message: reply and reply_len are written when a reply came, with errors or without; a reply byte
 * that cannot be read is 0.
 * Returns 0; -3 when msg_len is 9 or more (no register is touched); -12 when the transfer or the
 * reply did not finish in time; -13 when a received byte has its error flag set. */
int32_t diseqc_send(struct diseqc_message *message);

/* Send a tone burst: wait 13000 us, then up to 5 polls 1000 us apart. Afterwards the 22 kHz output
 * is off. Does not report whether the burst ended.
 * selector: 0 or nonzero, the chip's two bursts.
 * option: nonzero sets bit 5 of register 0xA2.
 * Returns 0. */
int32_t diseqc_send_burst(uint32_t selector, uint32_t option);

/* Set continuous tone and LNB voltage control. Reads 0xA1 and 0xA2, writes 0xA2, then 0xA1.
 * enable, tone, option: on when the low 8 bits are not zero. Not enabled: the operation under way
 * is ended, tone off, both voltage bits set.
 * voltage_18v: nonzero 18 V, 0 13 V.
 * Returns 0. */
int32_t lnb_control(uint32_t enable, uint32_t tone, uint32_t voltage_18v, uint32_t option);

#ifdef __cplusplus
}

static_assert(sizeof(diseqc_message) == 20, "DiSEqC message: 20 bytes");
#endif

#endif
