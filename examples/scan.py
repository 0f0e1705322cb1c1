# SPDX-License-Identifier: MIT
"""A blind scan from Python: libds3000.so through ctypes, on a board that is written in Python.

    cc -std=c11 -shared -fPIC -o forward.so forward.c $(pkg-config --cflags ds3000)
    python3 scan.py

forward.so lends the driver the functions of ds3000/hw/hdi.h and passes each call on to the board
below, which stands for the hardware. Ctrl-C cancels the scan and keeps what it has found. It all
happens in real time, so the scan covers no more than the first 200 MHz: 1950 is where the low band
ends.
"""

import ctypes
import pathlib
import signal
import sys
import time
from ctypes import CFUNCTYPE, POINTER, c_int, c_uint, c_uint8, c_uint16, c_uint32, c_void_p
from typing import NamedTuple

LOW_BAND_LOF_MHZ = 9750
FIRST_MHZ, LAST_MHZ = 950, 1150
CAPACITY = 64

# From ds3000/chip/wiring.h, ds3000/chip/ds3000_context.h and ds3000/scan/scan_request.h.
DEMODULATOR, TUNER = 0xD0, 0xC0
SUPPLY_ENABLE, SUPPLY_18V = 6, 7
STANDARDS = {4: "DVB-S", 5: "DVB-S2"}
CODE_RATES = "? 1/4 1/3 2/5 1/2 3/5 2/3 3/4 4/5 5/6 7/8 8/9 9/10".split()
STEPWISE = 1
LOCKED, STARTED, FINISHED, PROGRESS = 1, 3, 4, 5


class Carrier(NamedTuple):
    """What the satellite sends, as it stands on the cable."""

    frequency_khz: int
    symbol_rate_ksps: int
    dvbs2: bool


CARRIERS = [Carrier(994000, 22000, False), Carrier(1038000, 22000, True)]


class Chip:
    """Registers that read as they were written, but for those that a function answers for."""

    def __init__(self, answers):
        self.registers = bytearray(256)
        self.selected = 0
        self.answers = answers

    def read(self):
        answer = self.answers(self.selected)
        return self.registers[self.selected] if answer is None else answer & 0xFF


class Board:
    """A demodulator (DS3103) and a tuner that answer at once, without noise and without fail."""

    def __init__(self):
        self.demodulator = Chip(self.answer_of_demodulator)
        self.tuner = Chip({0x00: 0xC3, 0x14: 0x40, 0x15: 0x40, 0x21: 0x10, 0x26: 0x20, 0x3C: 1}.get)
        self.chips = {DEMODULATOR: self.demodulator, TUNER: self.tuner}
        self.lnb_has_supply = False
        self.peaks = 0
        self.peak_bytes = iter(())

    # What ds3000/hw/hdi.h asks for. A handle is anything but 0; results are 1 for success.

    def open(self):
        return 1

    def close(self, _bus):
        pass

    def check(self, _bus, address):
        return int(address in self.chips)

    def write(self, _bus, address, data, length, _flags):
        chip = self.chips.get(address)
        if chip is None:
            return 0
        chip.selected = data[0]
        if length > 1:
            chip.registers[data[0]] = data[1]
            if (address, data[0], data[1]) == (DEMODULATOR, 0x9A, 0x80):
                self.search_spectrum()
        return 1

    def read(self, _bus, address, data, length, _flags):
        chip = self.chips.get(address)
        if chip is None or length != 1:
            return 0
        data[0] = chip.read()
        return 1

    def set_gpio(self, _bus, line, level):
        if line == SUPPLY_ENABLE:
            self.lnb_has_supply = level != 0

    # What the chips make of it. 96000 kHz are 65536 of their steps, and 512 bins of the spectrum.

    def oscillator_khz(self):
        """From the tuner's divider registers, whose code has two gaps."""
        code = int.from_bytes(self.tuner.registers[1:3], "big")
        divider = code + 1024 if code < 3071 else code - (1024 if code < 7167 else 3072)
        return divider * 13500 // 14 // (2 if self.tuner.registers[0x10] & 0x10 else 1)

    def expected_khz(self):
        """Where the demodulator looks for a carrier."""
        steps = int.from_bytes(self.demodulator.registers[0x5E:0x60], "little", signed=True)
        return self.oscillator_khz() - steps * 375 // 256

    def carriers_within(self, khz):
        sky = CARRIERS if self.lnb_has_supply else []
        return [c for c in sky if abs(c.frequency_khz - self.expected_khz()) <= khz]

    def locked_carrier(self):
        """Frequency, standard and symbol rate have to be those of a carrier, more or less."""
        registers = self.demodulator.registers
        rate_ksps = int.from_bytes(registers[0x61:0x63], "little") * 375 // 256
        for carrier in self.carriers_within(3000):
            error_ksps = abs(carrier.symbol_rate_ksps - rate_ksps)
            if carrier.dvbs2 == bool(registers[0x08] & 4) and 20 * error_ksps <= rate_ksps:
                return carrier
        return None

    def search_spectrum(self):
        """Report each carrier in sight in four bytes: distance low, high, width high, low."""
        in_sight = self.carriers_within(20000)
        report = bytearray()
        for carrier in in_sight:
            distance = (carrier.frequency_khz - self.expected_khz()) * 2 // 375
            width = (carrier.symbol_rate_ksps + 400) * 2 // 375
            report += (distance & 0x3FF).to_bytes(2, "little") + width.to_bytes(2, "big")
        self.peak_bytes = iter(report)
        self.peaks = len(in_sight)

    def answer_of_demodulator(self, register):
        if register in (0x01, 0xB2):
            return {0x01: 0xD0, 0xB2: 0xC0}[register]
        if register == 0x59:
            return 5  # the carrier's amplitude is good
        if self.demodulator.registers[0x08] & 0x80:
            return self.answer_of_engine(register)
        carrier = self.locked_carrier()
        if carrier is None:
            return {0x0D: 0x00, 0xB3: 0x40}.get(register)  # the search ended with nothing
        offset = -((carrier.frequency_khz - self.oscillator_khz()) * 256 // 375)
        rate = (carrier.symbol_rate_ksps * 256 + 374) // 375
        return {
            0x0D: 0x8F if carrier.dvbs2 else 0x07,
            0xD1: 0x07,
            0xB3: 0x05,
            0x5E: offset,
            0x5F: offset >> 8,
            0x6D: rate,
            0x6E: rate >> 8,
            0x7E: 0x65,  # DVB-S2: 8PSK 2/3, pilots
            0xE6: 0x20,  # DVB-S: 5/6
        }.get(register)

    def answer_of_engine(self, register):
        bins = 106 if self.peaks else 0  # occupied, as far up as it sees
        if register == 0x9B:
            return next(self.peak_bytes, 0)
        return {0x0D: 1, 0x95: bins >> 8 << 6, 0x96: bins, 0x9A: self.peaks}.get(register)


class Functions(ctypes.Structure):
    """struct board of forward.c."""

    _fields_ = [
        ("open", CFUNCTYPE(c_void_p)),
        ("close", CFUNCTYPE(None, c_void_p)),
        ("check", CFUNCTYPE(c_int, c_void_p, c_uint)),
        ("write", CFUNCTYPE(c_int, c_void_p, c_uint, POINTER(c_uint8), c_uint, c_uint)),
        ("read", CFUNCTYPE(c_int, c_void_p, c_uint, POINTER(c_uint8), c_uint, c_uint)),
        ("set_gpio", CFUNCTYPE(None, c_void_p, c_uint, c_uint)),
    ]

    @classmethod
    def of(cls, board):
        return cls(*(kind(getattr(board, name)) for name, kind in cls._fields_))


class Candidate(ctypes.Structure):
    """struct scan_candidate."""

    _fields_ = [
        ("frequency_khz", c_uint32),
        ("symbol_rate", c_uint16),
        ("reserved", c_uint16),
        ("status", c_uint32),
        ("code_rate", c_uint32),
    ]

    def __str__(self):
        return (
            f"{LOW_BAND_LOF_MHZ + self.frequency_khz / 1000:7.1f} MHz V  {self.symbol_rate:5}"
            f" ksym/s  {STANDARDS[self.status]:6} {CODE_RATES[self.code_rate]}"
        )


class Request(ctypes.Structure):
    """struct blind_scan_request."""

    _fields_ = [
        ("passes", c_uint8),
        ("algorithm", c_uint8),
        ("locked_count", c_uint16),
        ("capacity", c_uint16),
        ("candidates", POINTER(Candidate)),
    ]


def load_driver(functions):
    """The driver finds the functions that it calls in what was loaded before it, for all to see."""
    here = pathlib.Path(__file__).resolve().parent
    ctypes.CDLL(here / "forward.so", mode=ctypes.RTLD_GLOBAL).forward_to(ctypes.byref(functions))
    return ctypes.CDLL("libds3000.so.1")


@CFUNCTYPE(None, c_uint32, c_void_p)
def on_event(event, argument):
    """Called from the scanning thread, which waits for it; the argument is gone afterwards."""
    if event == STARTED:
        print("scanning")
    elif event == PROGRESS:
        print(f"  on to {c_uint32.from_address(argument).value // 1000} MHz")
    elif event == LOCKED:
        print(f"  found {Candidate.from_address(argument)}")
    elif event == FINISHED:
        print("finished")


def start_front_end(driver, bus):
    """The chips must have been awake for 100 ms before they are initialised."""
    c_void_p.in_dll(driver, "ds3000_context").value = bus  # its first field
    driver.ds3000_wake()
    time.sleep(0.1)
    if driver.ds3000_init() != 0:
        sys.exit("scan.py: no demodulator of this family")


def select_leg(driver, board, bus):
    """13 V for vertical, no tone for the low band, and time for the LNB to come up."""
    board.set_gpio(bus, SUPPLY_18V, 0)
    board.set_gpio(bus, SUPPLY_ENABLE, 1)
    driver.lnb_control(1, 0, 0, 0)
    time.sleep(0.1)


def scan(driver):
    candidates = (Candidate * (CAPACITY + 1))()  # the scan uses one record beyond the capacity
    request = Request(passes=1, algorithm=STEPWISE, capacity=CAPACITY, candidates=candidates)
    driver.ds3000_set_scan_callback(on_event)
    signal.signal(signal.SIGINT, lambda *_: driver.ds3000_set_scan_cancel(1))
    if driver.ds3000_blind_scan(FIRST_MHZ, LAST_MHZ, ctypes.byref(request)) != 0:
        sys.exit("scan.py: the scan was refused")
    return [c for c in candidates[:CAPACITY] if c.status in STANDARDS]


def main():
    board = Board()
    bus = board.open()
    functions = Functions.of(board)  # kept for as long as the driver may call them
    driver = load_driver(functions)
    start_front_end(driver, bus)
    select_leg(driver, board, bus)
    try:
        found = scan(driver)
    finally:
        driver.ds3000_sleep()
        board.set_gpio(bus, SUPPLY_ENABLE, 0)
    print(f"{len(found)} transponders")
    for candidate in found:
        print(candidate)


if __name__ == "__main__":
    main()
