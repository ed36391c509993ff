#include "operations/GaussianWeights.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "reference/PlainGaussianSmoothing.h"

using korvane_reference::PlainGaussianSmoothing;
using qvox::ExpOfMinus;
using qvox::GaussianWeights;
using qvox::NearlyUncutGaussianWeights;

namespace {

std::int64_t StepsApart(float a, float b) {
    std::int32_t first = 0;
    std::int32_t second = 0;
    std::memcpy(&first, &a, sizeof a);
    std::memcpy(&second, &b, sizeof b);
    return std::abs(std::int64_t{first} - second);
}

TEST(GaussianWeights, TheExponentialIsWithinTwoToTheMinus51) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> anywhere(0.0, 700.0);
    std::uniform_real_distribution<double> near(0.0, 9.0);
    for (int i = 0; i < 200000; ++i) {
        const double q = i % 2 == 0 ? anywhere(random) : near(random);
        const long double exact = std::exp(-static_cast<long double>(q));
        const long double error = std::fabs(static_cast<long double>(ExpOfMinus(q)) - exact) / exact;
        ASSERT_LE(error, 0x1p-51L) << q;
    }
    EXPECT_EQ(ExpOfMinus(0.0), 1.0);
    EXPECT_EQ(ExpOfMinus(1e300), 0.0);
}

// Also the sigmas of detection at every scale from 0.01 to 40 in steps of 0.01.
TEST(GaussianWeights, AreThePlainOnesAndThoseOfOpenCV) {
    std::vector<double> sigmas{0.01, 0.0625, 0.07, 0.1};
    for (int i = 1; i <= 4000; ++i) {
        const auto scale = static_cast<double>(static_cast<float>(i) * 0.01f);
        sigmas.push_back(1.5 * scale);
        if (i % 10 == 0) sigmas.push_back(3.0 * scale);
        if (i % 10 == 0) sigmas.push_back(1.5 * scale + 4.0);
    }
    std::size_t weightsInAll = 0;
    std::size_t differing = 0;
    for (const double sigma : sigmas) {
        const PlainGaussianSmoothing plain(sigma);
        const std::vector<float> weights = GaussianWeights(sigma, static_cast<std::size_t>(plain.Radius()));
        ASSERT_EQ(weights, plain.Weights()) << sigma;
        const int count = cvRound(sigma * 8 + 1) | 1;
        ASSERT_EQ(count, 2 * plain.Radius() + 1) << sigma;
        const cv::Mat theirs = cv::getGaussianKernel(count, sigma, CV_32F);
        for (std::size_t k = 0; k < weights.size(); ++k) {
            const float other = theirs.at<float>(static_cast<int>(plain.Radius()) + static_cast<int>(k));
            ++weightsInAll;
            if (weights[k] != other) ++differing;
            ASSERT_LE(StepsApart(weights[k], other), 1) << sigma << " at distance " << k;
        }
    }
    EXPECT_LE(differing, weightsInAll / 100000) << "of " << weightsInAll;
}

// Half the sum of the absolute differences bounds the error in any image of range 1; along both axes it is twice that.
TEST(GaussianWeights, NearlyUncutOnesAreTheUncutGaussianToAMillionthOfTheRange) {
    for (double sigma = 0.05; sigma < 12.0; sigma *= 1.07) {
        const std::vector<float> weights = NearlyUncutGaussianWeights(sigma);
        long double total = 0.0L;
        const auto exact = [sigma](int k) {
            const long double t = static_cast<long double>(k) / static_cast<long double>(sigma);
            return k == 0 ? 1.0L : std::exp(-0.5L * t * t);
        };
        const int reach = static_cast<int>(std::ceil(40.0 * sigma));
        for (int k = -reach; k <= reach; ++k) total += exact(k);
        long double differences = 0.0L;
        for (int k = -reach; k <= reach; ++k) {
            const auto at = static_cast<std::size_t>(std::abs(k));
            const long double weight = at < weights.size() ? static_cast<long double>(weights[at]) : 0.0L;
            differences += std::fabs(weight - exact(k) / total);
        }
        ASSERT_LE(differences / 2.0L, 2.5e-7L) << sigma;
    }
    EXPECT_EQ(NearlyUncutGaussianWeights(0.0), std::vector<float>{1.0f});
}

}  // namespace
