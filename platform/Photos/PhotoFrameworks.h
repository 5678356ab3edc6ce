#pragma once

/// The frameworks whose words and pictures others use as well: PhotoLibrary with its class "PLPhotoTileViewController",
/// PhotosUI with "PUPhotoView". The classes serve to find the frameworks' bundles by.
namespace photo_frameworks {

/// Brings the frameworks into the process: from then on their classes are found by name. A class of that name that is
/// there already stays. Any thread, any number of times.
void load();

}  // namespace photo_frameworks
