/* SPDX-License-Identifier: MIT */
/* The two images as read-only data: A for DS3002B and DS3103, B for DS300X. */

    .section .rodata.ds3000_firmware_a, "a", %progbits
    .global ds3000_firmware_a
    .hidden ds3000_firmware_a
    .type ds3000_firmware_a, %object
ds3000_firmware_a:
    .incbin FIRMWARE_A
    .size ds3000_firmware_a, . - ds3000_firmware_a

    .section .rodata.ds3000_firmware_b, "a", %progbits
    .global ds3000_firmware_b
    .hidden ds3000_firmware_b
    .type ds3000_firmware_b, %object
ds3000_firmware_b:
    .incbin FIRMWARE_B
    .size ds3000_firmware_b, . - ds3000_firmware_b

    .section .note.GNU-stack, "", %progbits
