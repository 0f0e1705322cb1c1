// SPDX-License-Identifier: MIT
#include "host/tables/receiver_lists.h"

#include <gtest/gtest.h>

namespace host {
namespace {

WrittenRow dvbs2_row() {
    WrittenRow row;
    row.frequency_khz = 11'494'250;
    row.polarisation = broadcast::Polarisation::horizontal;
    row.symbol_rate = 22'000'000;
    row.system = broadcast::System::dvbs2;
    row.modulation = broadcast::Modulation::psk8;
    row.code_rate = broadcast::CodeRate::r2_3;
    row.roll_off = broadcast::RollOff::r35;
    row.pilots = true;
    row.inverted = false;
    return row;
}

WrittenRow dvbs_row() {
    WrittenRow row;
    row.frequency_khz = 12'188'000;
    row.polarisation = broadcast::Polarisation::left;
    row.symbol_rate = 27'500'000;
    row.modulation = broadcast::Modulation::qpsk;
    row.code_rate = broadcast::CodeRate::r3_4;
    row.switch_port = 3;
    return row;
}

// What the demodulator did not tell.
WrittenRow vague_row() {
    WrittenRow row;
    row.frequency_khz = 10'714'000;
    row.polarisation = broadcast::Polarisation::vertical;
    row.symbol_rate = 5'000'000;
    row.system = broadcast::System::dvbs2;
    row.code_rate = broadcast::CodeRate::r1_4;
    return row;
}

TEST(ReceiverLists, satellites_xml_has_a_number_for_every_value) {
    EXPECT_EQ(list_text(ListForm::satellites_xml, "A & \"B\" <-30.0W",
                        {dvbs2_row(), dvbs_row(), vague_row()}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<satellites>\n"
              "  <sat name=\"A &amp; &quot;B&quot; &lt;-30.0W\" flags=\"0\" position=\"-300\">\n"
              "    <transponder frequency=\"11494250\" symbol_rate=\"22000000\" polarization=\"0\" "
              "fec_inner=\"2\" system=\"1\" modulation=\"2\" inversion=\"0\" rolloff=\"0\" "
              "pilot=\"1\"/>\n"
              "    <transponder frequency=\"12188000\" symbol_rate=\"27500000\" polarization=\"2\" "
              "fec_inner=\"3\" system=\"0\" modulation=\"1\" inversion=\"2\"/>\n"
              "    <transponder frequency=\"10714000\" symbol_rate=\"5000000\" polarization=\"1\" "
              "fec_inner=\"0\" system=\"1\" modulation=\"0\" inversion=\"2\" rolloff=\"3\" "
              "pilot=\"2\"/>\n"
              "  </sat>\n"
              "</satellites>\n");
}

TEST(ReceiverLists, vdr_lines_leave_open_what_is_not_known) {
    EXPECT_EQ(list_text(ListForm::vdr, "Astra-19.2E", {dvbs2_row(), dvbs_row(), vague_row()}),
              "11494H:11494:HC23I0M5N1O35S1:S19.2E:22000:0:0:0:0:1:0:0:0\n"
              "12188L:12188:LC34M2S0:S19.2E:27500:0:0:0:0:1:0:0:0\n"
              "10714V:10714:VS1:S19.2E:5000:0:0:0:0:1:0:0:0\n");
    EXPECT_EQ(list_text(ListForm::vdr, "Hispasat-30.0W", {vague_row()}),
              "10714V:10714:VS1:S30W:5000:0:0:0:0:1:0:0:0\n");
}

TEST(ReceiverLists, playlists_ask_a_sat_ip_server) {
    EXPECT_EQ(list_text(ListForm::m3u, "", {dvbs2_row(), dvbs_row(), vague_row()}),
              "#EXTM3U\n"
              "#EXTINF:-1,11494H\n"
              "rtsp://sat.ip/?src=1&freq=11494.25&pol=h&msys=dvbs2&mtype=8psk&ro=0.35&plts=on"
              "&sr=22000&fec=23&pids=all\n"
              "#EXTINF:-1,12188L\n"
              "rtsp://sat.ip/?src=3&freq=12188&pol=l&msys=dvbs&sr=27500&fec=34&pids=all\n"
              "#EXTINF:-1,10714V\n"
              "rtsp://sat.ip/?src=1&freq=10714&pol=v&msys=dvbs2&sr=5000&pids=all\n");
}

TEST(ReceiverLists, place_on_the_arc_follows_from_the_name) {
    EXPECT_EQ(orbital_position("Astra-1N-19.2E"), 192);
    EXPECT_EQ(orbital_position("Astra 28.2E"), 282);
    EXPECT_EQ(orbital_position("Hispasat-30.0W"), -300);
    EXPECT_EQ(orbital_position("5W"), -50);
    for (const char *nameless : {"", "Blind scan", "Thor-1.0", "West", "E", "x-999E"}) {
        EXPECT_EQ(orbital_position(nameless), std::nullopt) << nameless;
    }
}

TEST(ReceiverLists, suffixes_name_the_form) {
    EXPECT_EQ(list_form_of("found.conf"), ListForm::dvbv5);
    EXPECT_EQ(list_form_of("found.XML"), ListForm::satellites_xml);
    EXPECT_EQ(list_form_of("a/b.m3u"), ListForm::m3u);
    EXPECT_EQ(list_form_of("found.json"), std::nullopt);
    EXPECT_EQ(list_form_of(".xml"), std::nullopt);
}

}  // namespace
}  // namespace host
