/* SPDX-License-Identifier: MIT */
/* The two programs that the simulated chips run, from the files that the driver's build is given. */

    .section .rodata.sim_program_image_a, "a", %progbits
    .global sim_program_image_a
    .hidden sim_program_image_a
    .type sim_program_image_a, %object
sim_program_image_a:
    .incbin PROGRAM_IMAGE_A
    .size sim_program_image_a, . - sim_program_image_a

    .section .rodata.sim_program_image_b, "a", %progbits
    .global sim_program_image_b
    .hidden sim_program_image_b
    .type sim_program_image_b, %object
sim_program_image_b:
    .incbin PROGRAM_IMAGE_B
    .size sim_program_image_b, . - sim_program_image_b

    .section .note.GNU-stack, "", %progbits
