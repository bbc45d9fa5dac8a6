class OruRtcSupport < Formula
  desc "Log upload helper, crash capture and support libraries of an SDK"
  homepage "https://oru-rtc.example"
  url "https://oru-rtc.example/oru-rtc-support-1.0.0.tar.gz"
  sha256 "0000000000000000000000000000000000000000000000000000000000000000"

  depends_on "cmake" => :build
  depends_on "ninja" => :build
  depends_on :macos

  def install
    system "cmake", "-S", ".", "-B", "build", "-G", "Ninja", *std_cmake_args,
           "-DORU_BUILD_EXAMPLES=OFF", "-DORU_BUILD_TESTS=OFF"
    system "cmake", "--build", "build"
    system "cmake", "--install", "build"
  end

  test do
    assert_match version.to_s, shell_output("#{bin}/oru-report --version")
  end
end
