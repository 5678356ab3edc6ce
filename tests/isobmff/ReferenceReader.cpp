#include "tests/isobmff/ReferenceReader.h"

extern "C" {
#include <libavformat/avformat.h>
}

std::vector<std::vector<reference::Packet>> reference::packets(const std::string& path, bool editLists) {
  AVDictionary* options = nullptr;
  av_dict_set(&options, "ignore_editlist", editLists ? "0" : "1", 0);
  av_dict_set(&options, "advanced_editlist", editLists ? "1" : "0", 0);
  AVFormatContext* format = nullptr;
  const int opened = avformat_open_input(&format, path.c_str(), nullptr, &options);
  av_dict_free(&options);
  if (opened < 0) return {};
  std::vector<std::vector<Packet>> streams(format->nb_streams);
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(format, packet) >= 0) {
    if (std::size_t(packet->stream_index) >= streams.size()) streams.resize(std::size_t(packet->stream_index) + 1);
    const double tick = av_q2d(format->streams[packet->stream_index]->time_base);
    streams[std::size_t(packet->stream_index)].push_back(
        {packet->pos, packet->dts, packet->pts, packet->duration, packet->size, (packet->flags & AV_PKT_FLAG_KEY) != 0,
         (packet->flags & AV_PKT_FLAG_DISCARD) != 0, double(packet->pts) * tick,
         double(packet->pts + packet->duration) * tick});
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
  return streams;
}
