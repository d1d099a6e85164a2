#include "support/jpegs.h"

#include <cstdio>  // jpeglib.h needs it before itself

#include <jpeglib.h>

#include <algorithm>
#include <cstdlib>

namespace watchpost::test {
namespace {

// Shades that vary slowly, with some grain: what real pictures are to the encoder.
std::vector<unsigned char> DrawSamples(const JpegKind& kind, unsigned int seed) {
  Random random(seed);
  const int slope_x = static_cast<int>(random() % 7);
  const int slope_y = static_cast<int>(random() % 7);
  const int offset = static_cast<int>(random() % 100);
  const unsigned int grain = 1 + random() % 60;
  std::vector<unsigned char> samples;
  for (int y = 0; y < kind.height; ++y) {
    for (int x = 0; x < kind.width; ++x) {
      for (int i = 0; i < kind.components; ++i) {
        const int shade = offset + slope_x * x / (i + 1) + slope_y * y / (i + 2) +
                          static_cast<int>(random() % grain);
        samples.push_back(static_cast<unsigned char>(shade));
      }
    }
  }
  return samples;
}

}  // namespace

Jpeg MakeJpeg(const JpegKind& kind, unsigned int seed) {
  std::vector<unsigned char> samples = DrawSamples(kind, seed);
  jpeg_compress_struct encoder;
  jpeg_error_mgr errors;
  encoder.err = jpeg_std_error(&errors);
  jpeg_create_compress(&encoder);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&encoder, &bytes, &size);
  encoder.image_width = static_cast<JDIMENSION>(kind.width);
  encoder.image_height = static_cast<JDIMENSION>(kind.height);
  encoder.input_components = kind.components;
  encoder.in_color_space = kind.components == 1   ? JCS_GRAYSCALE
                           : kind.components == 3 ? JCS_YCbCr
                                                  : JCS_CMYK;
  jpeg_set_defaults(&encoder);
  jpeg_set_quality(&encoder, kind.quality, TRUE);
  for (std::size_t i = 0; i < static_cast<std::size_t>(kind.components); ++i) {
    encoder.comp_info[i].h_samp_factor = kind.components == 1 ? 1 : kind.sampling[i][0];
    encoder.comp_info[i].v_samp_factor = kind.components == 1 ? 1 : kind.sampling[i][1];
  }
  encoder.restart_interval = kind.restart_interval;
  encoder.optimize_coding = kind.optimised ? TRUE : FALSE;
  if (kind.progressive) jpeg_simple_progression(&encoder);
  std::vector<jpeg_scan_info> scans;
  if (kind.scan_for_each) {
    scans.push_back({kind.components, {0, 1, 2, 3}, 0, 0, 0, 0});
    for (int at = 1; at < 64 * kind.components; ++at) {
      if (at % 64 != 0) scans.push_back({1, {at / 64}, at % 64, at % 64, 0, 0});
    }
    encoder.scan_info = scans.data();
    encoder.num_scans = static_cast<int>(scans.size());
  }
  jpeg_start_compress(&encoder, TRUE);
  while (encoder.next_scanline < encoder.image_height) {
    JSAMPROW row = samples.data() + std::size_t{encoder.next_scanline} * encoder.image_width *
                                        static_cast<std::size_t>(kind.components);
    (void)jpeg_write_scanlines(&encoder, &row, 1);
  }
  jpeg_finish_compress(&encoder);
  jpeg_destroy_compress(&encoder);
  Jpeg jpeg(bytes, bytes + size);
  std::free(bytes);
  return jpeg;
}

std::vector<Plane> ReadPlanes(const Jpeg& jpeg) {
  jpeg_decompress_struct decoder;
  jpeg_error_mgr errors;
  decoder.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&decoder);
  jpeg_mem_src(&decoder, jpeg.data(), jpeg.size());
  (void)jpeg_read_header(&decoder, TRUE);
  jvirt_barray_ptr* arrays = jpeg_read_coefficients(&decoder);
  std::vector<Plane> planes;
  for (int i = 0; i < decoder.num_components; ++i) {
    const jpeg_component_info& info = decoder.comp_info[i];
    Plane plane{info.h_samp_factor, info.v_samp_factor, {}};
    for (JDIMENSION row = 0; row < info.height_in_blocks; ++row) {
      JBLOCKARRAY block_row = decoder.mem->access_virt_barray(
          reinterpret_cast<j_common_ptr>(&decoder), arrays[i], row, 1, FALSE);
      auto& blocks = plane.blocks.emplace_back(info.width_in_blocks);
      for (JDIMENSION column = 0; column < info.width_in_blocks; ++column)
        std::copy_n(block_row[0][column], 64, blocks[column].begin());
    }
    planes.push_back(std::move(plane));
  }
  (void)jpeg_finish_decompress(&decoder);
  jpeg_destroy_decompress(&decoder);
  return planes;
}

}  // namespace watchpost::test
